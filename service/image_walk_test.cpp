#include "service/image_walk.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "service/image_file.h"

namespace qv::can_bus::flr {
namespace {

struct Sector {
    std::uint8_t index;
    std::uint32_t start;
    std::uint32_t end;
};

struct Layout {
    const char* name;
    std::vector<Sector> sectors;
    std::vector<Image_file::Run> runs; ///< of data
    std::vector<std::string> chunks;   ///< address and length
};

class Chunk_test : public testing::TestWithParam<Layout> {};

TEST_P(Chunk_test, blocks_are_cut)
{
    Image_file file;
    for (const auto& sector : GetParam().sectors) {
        file.sector(sector.index, sector.start, sector.end);
    }
    for (const auto& run : GetParam().runs) {
        file.data(run);
    }
    HexParser image;
    ASSERT_EQ(image.parse(file.save("chunks"), false), 0);

    std::vector<std::string> chunks;
    Chunk_walk walk;
    walk.start(image);
    while (walk.has_bytes() || walk.next_block()) {
        walk.next(image);
        chunks.push_back(std::to_string(walk.chunk_address()) + "+" + std::to_string(walk.chunk_length()));
        ASSERT_EQ(walk.chunk().size(), walk.chunk_length());
        EXPECT_EQ(walk.chunk().front(), Image_file::byte_at(walk.chunk_address()));
        EXPECT_EQ(walk.chunk().back(), Image_file::byte_at(walk.chunk_address() + walk.chunk_length() - 1));
        walk.confirm();
        ASSERT_LT(chunks.size(), 100U) << "no end";
    }
    EXPECT_EQ(chunks, GetParam().chunks);
    EXPECT_TRUE(walk.chunk().empty());
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Layouts, Chunk_test, testing::Values(
    Layout{"no_data",              {{0, 0, 4095}},                     {},                    {}},
    Layout{"one_byte",             {{0, 0, 4095}},                     {{16, 1}},             {"16+1"}},
    Layout{"exactly_one_chunk",    {{0, 0, 4095}},                     {{0, 768}},            {"0+768"}},
    Layout{"three_chunks",         {},                                 {{0, 2000}},           {"0+768", "768+768", "1536+464"}},
    Layout{"several_blocks",       {{0, 0, 4095}},                     {{900, 8}, {100, 800}, {2000, 7}},
                                                                       {"900+8", "100+768", "868+32", "2000+7"}},
    Layout{"index_0_is_not_cut",   {{0, 0, 999}, {1, 1000, 4095}},     {{900, 200}},          {"900+200"}},
    Layout{"later_ones_are_cut",   {{0, 9000, 9999}, {1, 0, 999}, {2, 1000, 4095}},
                                                                       {{900, 900}},          {"900+100", "1000+768", "1768+32"}},
    Layout{"ends_with_its_sector", {{0, 9000, 9999}, {1, 0, 999}, {2, 1000, 4095}},
                                                                       {{900, 100}},          {"900+100"}},
    Layout{"last_byte_of_memory",  {{0, 9000, 9999}, {1, 0, 999}},     {{500, 499}},          {"500+499"}},
    Layout{"overlap_never_grows",  {{0, 9000, 9999}, {1, 1000, 1999}, {2, 0, 8000}},
                                                                       {{500, 800}},          {"500+768", "1268+32"}}),
    [](const auto& test) { return std::string(test.param.name); });
// clang-format on

TEST(Erase_test, visits_the_dirty_sectors_of_all_tables_once)
{
    Image_file file;
    file.sector(0, 0, 999).sector(255, 1000, 1999).sector(0, 5000, 5999).sector(1, 6000, 6999);
    file.data({1100, 4}).data({6100, 4}).data({1200, 4});
    HexParser image;
    ASSERT_EQ(image.parse(file.save("erase"), false), 0);

    Erase_walk walk;
    walk.start(image);
    std::vector<std::uint32_t> starts;
    while (const auto* sector = walk.next()) {
        starts.push_back(sector->start);
    }
    EXPECT_EQ(starts, (std::vector<std::uint32_t>{1000, 6000}));
    EXPECT_EQ(walk.next(), nullptr);
}

} // namespace
} // namespace qv::can_bus::flr
