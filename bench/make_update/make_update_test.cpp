// The program as its user runs it.

#include <filesystem>

#include <gmock/gmock.h>
#include <unistd.h>

#include "bench/harness/bench.h"
#include "framework/file/scratch_folder.h"

namespace {

using harness::Process;
using testing::HasSubstr;

class Make_update_test : public testing::Test {
protected:
    /// Runs it and gives its exit status; what it says is in `words`.
    int run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), MAKE_UPDATE);
        Process program(arguments);
        const auto status = program.ends();
        words = program.output();
        return status.value_or(-1);
    }
    int make(const std::string& program, const std::string& ecu_info = "IG,2*")
    {
        std::filesystem::remove(update);
        harness::write_file(input, program);
        return run({"--output", update, "--version", "1.2", "--ecu-info", ecu_info, "--sectors",
                    "0x10000:0x20000:1", "--sectors", "0xFFFF0000:0x10000:1", input});
    }

    const qv::file::test::Scratch_folder folder;
    const std::string input = folder / "program";
    const std::string update = folder / "update.hex";
    std::string words;
};

const std::string upper_1 = ":020000040001F9\n";
const std::string end = ":00000001FF\n";

// Checksums and the scrambled block were worked out by a script of its own.
TEST_F(Make_update_test, writes_layout_version_data_and_scrambled_ecu_info_and_reads_them_back)
{
    ASSERT_EQ(make(upper_1 + ":02FFFE00AABB9C\n:020000040002F8\n:01000000CC33\n" + end), 0) << words;
    EXPECT_EQ(harness::read_file(update),
              ":08000010000100000002FFFFE7\n:08000110FFFF0000FFFFFFFFED\n:0300000C312E3260\n:0100000B01F3\n"
              ":020000040001F9\n:02FFFE00AABB9C\n:020000040002F8\n:01000000CC33\n:00000001FF\n"
              ":0500000AADB6B1CDD040\n");
    EXPECT_EQ(run({"--check", update}), 0);
    EXPECT_EQ(words, "version   1.2\necu info  IG,2*\nsector    0x00010000 - 0x0002ffff\n"
                     "sector    0xffff0000 - 0xffffffff\ndata      0x0001fffe - 0x00020000\nsize      3 bytes\n");
}

TEST_F(Make_update_test, takes_Intel_HEX_and_plain_bytes)
{
    const std::pair<std::string, const char*> rows[] = {
        {{"\x01\x00\x3A", 3}, ":0300000001003AC2\n"}, // plain bytes go to the first sector
        {":020000021000EC\r\n:0400100001020304e2\r\n\r\n:00000001ff\r\n", ":0400100001020304E2\n"},
        {upper_1 + ":0100100001EE\n:0100120003EA\n:0100110002EC\n" + end,
         ":03001000010203E7\n"}, // a gap is filled
        {":0400000300000000F9\n:0400000500000000F7\n" + upper_1 + ":01001000AA45\n" + end, ":01001000AA45\n"},
        {":02000004FFFFFC\n:01FFFD00AA59\n" + end, ":02000004FFFFFC\n:01FFFD00AA59\n"},
    };
    for (const auto& [program, lines] : rows) {
        EXPECT_EQ(make(program), 0) << program << words;
        EXPECT_THAT(harness::read_file(update), HasSubstr("0B01F3\n" + (lines[9] == 'F' ? "" : upper_1) + lines))
            << program;
    }
}

TEST_F(Make_update_test, makes_nothing_of_a_program_that_is_damaged_or_fits_no_sector)
{
    const std::string data = ":0200100001EE\n";
    const std::pair<std::string, const char*> rows[] = {
        {"", "program: is empty"},
        {end, "has no data"},
        {upper_1 + ":01001000AA44\n" + end, "program:2: has a wrong checksum"},
        {upper_1 + "01001000AA45\n" + end, "program:2: does not begin with ':'"},
        {upper_1 + ":02001000AABB89\n:01001100CC22\n" + end, "program:3: writes over bytes of an earlier line"},
        {upper_1 + ":01001100CC22\n:02001000AABB89\n" + end, "program:3: writes over bytes of an earlier line"},
        {":02000004FFFFFC\n:01FFFF00AA57\n" + end, "program:2: has data at or beyond 0xffffffff"},
        {":0100000401FA\n" + end, "program:1: has 1 data bytes where 2 are due"},
        {":0100000B01F3\n" + end, "program:1: is no record of Intel HEX"},
        {upper_1 + ":01001000AA45\n", "program: has no end of file record"},
        {":01001000AA45\n" + end, "update.hex:5: has data at 0x00000010, outside of every sector"},
    };
    for (const auto& [program, problem] : rows) {
        EXPECT_EQ(make(program), 1) << program;
        EXPECT_THAT(words, HasSubstr(problem));
        EXPECT_FALSE(std::filesystem::exists(update)) << program;
    }
    EXPECT_EQ(make("program", "IG,2*ECU PN,A1*"), 0);
    EXPECT_THAT(words, HasSubstr(": warning: has the ECU info key 'ECU PN', which is unknown"));
}

TEST_F(Make_update_test, the_check_ends_with_status_1_and_names_the_line)
{
    ASSERT_EQ(make("program"), 0) << words;
    auto text = harness::read_file(update);
    text[text.find("312E32")] = '4';
    harness::write_file(update, text);
    EXPECT_EQ(run({"--check", update}), 1);
    EXPECT_THAT(words, HasSubstr(update + ":3: has a wrong checksum\n"));
    EXPECT_EQ(run({"--check", folder.path()}), 1);
    EXPECT_THAT(words, HasSubstr(folder.path() + ": cannot be read"));
}

} // namespace
