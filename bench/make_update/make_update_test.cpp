#include <cstdio>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <unistd.h>

#include "bench/make_update/checker.h"
#include "bench/make_update/update_writer.h"

namespace bench::update {
namespace {

using testing::HasSubstr;

Update small_update()
{
    Update update;
    EXPECT_TRUE(add_bytes(update.program, 0x1FFFE, {0xAA, 0xBB, 0xCC}));
    update.sectors = {{0x10000, 0x2FFFF}};
    update.version = "1.2";
    update.ecu_info = "IG,2*";
    return update;
}

// Checksums and the scrambled block were worked out by hand.
TEST(Update_writer_test, writes_layout_version_data_and_scrambled_ecu_info)
{
    const std::string text = write_update(small_update());
    EXPECT_THAT(text, HasSubstr(":08000010000100000002FFFFE7\n:0300000C312E3260\n:0100000B01F3\n"));
    EXPECT_THAT(text,
                HasSubstr(":020000040001F9\n:02FFFE00AABB9C\n:020000040002F8\n:01000000CC33\n:00000001FF\n"));
}

class Checker_test : public testing::Test {
protected:
    ~Checker_test() override { std::remove(path_.c_str()); }

    bool check(const std::string& text)
    {
        std::ofstream(path_, std::ios::binary) << text;
        std::ostringstream out;
        std::ostringstream problems;
        const bool good = Checker().check(path_, out, problems);
        contents = out.str();
        words = problems.str();
        return good;
    }

    std::string contents;
    std::string words;
    std::string path_ = testing::TempDir() + "make_update_test_" + std::to_string(::getpid());
};

TEST_F(Checker_test, reads_back_what_was_written)
{
    EXPECT_TRUE(check(write_update(small_update()))) << words;
    EXPECT_EQ(contents, "version   1.2\necu info  IG,2*\nsector    0x00010000 - 0x0002ffff\n"
                        "data      0x0001fffe - 0x00020000\nsize      3 bytes\n");
}

TEST_F(Checker_test, tells_what_is_wrong_and_where)
{
    const auto good = write_update(small_update());
    const std::pair<std::string, const char*> rows[] = {
        {":020000040001F8\n", ":1: has a wrong checksum"},
        {":02000004", ":1: is shorter than"},
        {":zz", ":1: holds something other"},
        {"hello", ":1: does not begin with ':'"},
        {":0800011000010000 0002FFFF", ":1: holds something other"},
        {":080005100000000000000FFFD5\n" + good, ":1: defines a sector before sector 0"},
        {":020000001122CB\n" + good, "has data at 0x00000000, outside of every sector"},
        {good + ":00000001FF\n", "no readable ECU info"}, // another plain line changes the scrambling
        {"", "gives no software version"},
    };
    for (const auto& [text, problem] : rows) {
        EXPECT_FALSE(check(text)) << text;
        EXPECT_THAT(words, HasSubstr(problem));
    }
}

} // namespace
} // namespace bench::update
