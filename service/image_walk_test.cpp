#include "service/image_walk.h"

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace qv::can_bus::flr {
namespace {

struct Sector {
    std::size_t index;
    std::uint32_t start, end;
};

using Piece = std::pair<std::uint32_t, std::uint32_t>; ///< address and length

TEST(Chunk_test, blocks_are_cut)
{
    // clang-format off
    const std::tuple<std::vector<Sector>, std::vector<Piece>, std::string> rows[] = { // chunks: address and length
        {{{0, 0, 4095}},                                   {},                              ""},
        {{},                                               {{0, 768}},                      "0+768 "},
        {{},                                               {{0, 2000}},                     "0+768 768+768 1536+464 "},
        {{{0, 0, 4095}},                                   {{900, 8}, {100, 800}, {2, 7}},  "900+8 100+768 868+32 2+7 "},
        {{{0, 0, 999}, {1, 1000, 4095}},                   {{900, 200}},                    "900+200 "}, // index 0 does not count
        {{{0, 8000, 8999}, {1, 0, 999}, {2, 1000, 4095}},  {{900, 900}},                    "900+100 1000+768 1768+32 "},
        {{{0, 8000, 8999}, {1, 0, 999}},                   {{500, 499}},                    "500+499 "}, // behind it is no sector
        {{{0, 8000, 8999}, {1, 1000, 1999}, {2, 0, 7000}}, {{500, 800}},                    "500+768 1268+32 "}, // overlap
        {{{0, 0, 0}, {1, 0, 0}, {2, 0, 99}, {3, 100, 999}}, {{50, 100}},                    "50+50 100+50 "}, // two are empty
    };
    // clang-format on
    for (const auto& [sectors, data, expected] : rows) {
        Image image;
        for (const auto& sector : sectors) {
            ASSERT_TRUE(image.define_sector(sector.index, sector.start, sector.end));
        }
        for (const auto& [address, length] : data) {
            for (std::uint32_t place = 0; place < length; ++place) {
                EXPECT_TRUE(image.add_data(address + place, std::vector<std::uint8_t>(1)));
            }
        }
        std::string chunks;
        Chunk_walk walk;
        walk.start(image);
        while ((walk.has_bytes() || walk.next_block()) && chunks.size() < 100) {
            walk.next(image);
            chunks += std::to_string(walk.chunk_address()) + "+" + std::to_string(walk.chunk().size()) + " ";
            walk.confirm();
        }
        EXPECT_EQ(chunks, expected);
        EXPECT_TRUE(walk.chunk().empty());
    }
}

TEST(Erase_test, visits_the_dirty_sectors_of_all_tables_once)
{
    Image image;
    for (const auto& sector : {Sector{0, 0, 999}, {255, 1000, 1999}, {0, 5000, 5999}, {1, 6000, 6999}}) {
        ASSERT_TRUE(image.define_sector(sector.index, sector.start, sector.end));
    }
    for (const auto address : {1100U, 6100U, 1200U}) {
        EXPECT_TRUE(image.add_data(address, std::vector<std::uint8_t>(4)));
    }
    Erase_walk walk;
    walk.start(image);
    EXPECT_EQ(walk.next()->start, 1000U);
    EXPECT_EQ(walk.next()->start, 6000U);
    EXPECT_EQ(walk.next(), nullptr);
    EXPECT_EQ(walk.next(), nullptr);
}

} // namespace
} // namespace qv::can_bus::flr
