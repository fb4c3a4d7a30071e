#include "service/hex_parser.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "framework/file/scratch_folder.h"
#include "service/test_kit.h"

namespace qv::can_bus::flr {
namespace {

using testing::HasSubstr;

const std::string sector_0 = record("08 0000 10 00001000 00001FFF");
const std::string sector_1 = record("08 0001 10 00002000 00002FFF");
const std::string encryption_1 = record("01 0000 0B 01");
const std::string version_1_2 = record("03 0000 0C 312E32");
const std::string end_of_file = ":00000001FF\n";

class HexParser_test : public testing::Test, protected Caught_output {
protected:
    /// Reads the text with a new parser; what is printed is in `words`.
    int parse(const std::string& text, bool header_only = false)
    {
        std::ofstream(path_, std::ios::binary) << text;
        said();
        const auto result = parser.emplace().parse(path_, header_only);
        words = said();
        return result;
    }

    std::optional<HexParser> parser;
    std::string words;

private:
    const file::test::Scratch_folder folder_;
    const std::string path_ = folder_ / "update.hex";
};

TEST_F(HexParser_test, an_empty_file_and_a_foreign_text_parse_and_fit_nobody)
{
    const auto longer_than_the_buffer = std::string(200000, 'x') + "\n";
    for (const auto& text :
         {std::string(), std::string("PK\3\4 any: thing\n\n\rnothing"), longer_than_the_buffer}) {
        EXPECT_EQ(parse(text), 0);
        EXPECT_EQ(words, "Unsupported ECU Encryption Version\r\n");
        EXPECT_EQ(parser->software_version, "Missing");
        EXPECT_EQ(parser->matches(0, "1"), -1);
        EXPECT_EQ(parse(text + "\n" + version_1_2), 0);
        EXPECT_EQ(parser->software_version, "1.2");
    }
}

using Row = std::pair<std::string, std::string>; ///< the text of a file and what is said about it

TEST_F(HexParser_test, refuses_a_bad_file)
{
    const auto block = record("FF 0000 0A " + std::string(510, '1'));
    std::string tables;
    while (tables.size() < 64 * sector_0.size()) {
        tables += sector_0;
    }
    std::string pieces;
    for (int count = 0; count < 33000; ++count) {
        pieces += record("01 1000 00 11") + record("01 1010 00 22");
    }
    const Row rows[] = {
        {":0100000000FE\n", ""}, // wrong checksum
        {":\n", ""},             // no digits
        {":10000000AABB\n", ""}, // shorter than its length
        {":0100000G00FF\n", ""}, // no hexadecimal digit
        {record("01 0000 04 12"), ""},
        {record("07 0000 10 00001000 00001F"), ""},
        {record("07 0100 10 00001000 00001F"), ""},
        {record("02 0000 04 FFFF") + record("02 FFFF 00 1122"), ""}, // beyond 32 bits
        {block + block + block + block + block, "Error: Ecu Info out of bounds\r\n"},
        {tables, "Error: Memory Definition out of bounds\r\n"},
        {pieces, ""},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(parse(sector_0 + text + end_of_file), -1) << text.substr(0, 80);
        EXPECT_EQ(words, expected) << text.substr(0, 80);
    }
}

TEST_F(HexParser_test, tells_of_a_record_that_it_passes_over)
{
    const Row rows[] = {
        {record("04 1234 03 00003800"), "Record Not supported:\r\n\tType 0x03\r\n\tLength 0x04\r\n"
                                        "\tAddress 0x1234\r\n\tChecksum 0x7b\r\n\r\n"},
        {record("02 0000 05 0000"), "Start Linear Address length invalid 2\r\n"},
        {record("01 0002 0B 01"), "Unknown Encryption Info Address\r\n"},
        {record("03 0001 0C 312E32"), "Unknown Software Version Record\r\n"},
        {record("08 0005 10 00000000 0000FFFF"), "Error: Memory Definition out of bounds\r\n"}, // no table yet
        {sector_0 + record("08 0100 10 0000A000 0000AFFF"), "Error: Memory Definition out of bounds\r\n"},
        {sector_0 + record("08 FFFF 10 0000A000 0000AFFF"), "Error: Memory Definition out of bounds\r\n"},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(parse(text), 0) << text;
        EXPECT_EQ(words, expected + "Unsupported ECU Encryption Version\r\n");
        EXPECT_EQ(parser->software_version, "Missing");
        EXPECT_EQ(parser->sector_index_of(0xA000), -1);
    }
}

TEST_F(HexParser_test, only_a_readable_regular_file_is_read)
{
    for (const char* path : {"/nonexistent/update.hex", "/", "/dev/zero"}) {
        EXPECT_EQ(HexParser().parse(path, false), -1) << path;
    }
}

TEST_F(HexParser_test, addresses_make_blocks)
{
    const auto data = [](const std::string& address) { return record("02 " + address + " 00 A1B2"); };
    const auto text = sector_0 + data("1000") + data("1002") +   // neighbours
                      record("02 0000 04 0000") + data("1004") + // an address record between
                      data("1004") + data("1000") +              // overlap, backwards
                      record("02 0000 02 0200") + data("0010") + // 16 x 0x200 + 0x10
                      record("02 0000 04 0001") + data("0010") + // linear ends segment
                      record("02 0000 02 0100") + data("0000");  // segment ends linear
    ASSERT_EQ(parse(text), 0);
    std::vector<std::uint32_t> starts;
    for (const auto* block = parser->first_block(); block != nullptr; block = block->next) {
        starts.push_back(block->start);
    }
    EXPECT_THAT(starts, testing::ElementsAre(0x1000, 0x1004, 0x1000, 0x2010, 0x10010, 0x1000));
    EXPECT_EQ(parser->data_size(), 16U);
    EXPECT_EQ(parser->data_checksum(), 8 * 0xB2A1U);
    EXPECT_THAT(words,
                HasSubstr("Warning: Record not found in Memory Tables\r\nRecord 0x00010010 for 2 bytes\r\n"));
}

TEST_F(HexParser_test, a_record_marks_the_sectors_that_it_touches)
{
    const std::pair<std::string, std::vector<std::size_t>> rows[] = {
        {"1000", {0}},    {"1FFC", {0}}, // ends before the last byte of sector 0
        {"1FFD", {0, 1}},                // ends on it
        {"1FFF", {0, 1}},                // crosses
        {"2000", {1}},    {"2FFE", {}},  // the end of the memory: only the warning
        {"0FFF", {}},
    };
    for (const auto& [address, expected] : rows) {
        ASSERT_EQ(parse(sector_0 + sector_1 + record("02 " + address + " 00 0102")), 0);
        const auto& sectors = parser->first_table()->sectors;
        for (std::size_t index = 0; index < sectors.size(); ++index) {
            EXPECT_EQ(sectors[index].dirty, std::ranges::count(expected, index) == 1) << address << index;
        }
        EXPECT_EQ(parser->dirty_sector_count(), expected.size()) << address;
        EXPECT_EQ(words.find("Warning") != words.npos, expected.empty()) << address;
    }
}

TEST_F(HexParser_test, definitions_fill_tables_from_index_0_on)
{
    ASSERT_EQ(parse(sector_0 + record("08 00FF 10 00009000 00009FFF") + sector_0), 0);
    EXPECT_EQ(parser->flash_table_count(), 2U);
    EXPECT_TRUE(parser->first_table()->sectors[255].exists);
    EXPECT_EQ(parser->sector_index_of(0x9FFE), 255);
    EXPECT_EQ(parser->sector_index_of(0x9FFF), -1); // the last byte is in no sector by this test
    EXPECT_EQ(parser->sector_end_of(0x1000), 0x1FFFU);
    EXPECT_EQ(parser->sector_end_of(0x3000), 0U);
}

// "IG,2*" reversed and added to the running sum; computed by hand for the text before it.
TEST_F(HexParser_test, ecu_info_is_unscrambled_with_the_sum_of_the_plain_text)
{
    // ":00000001FF": 0x3A + 7 x 0x30 + 0x31 + 2 x 0x46 = 0x247, so the key starts at 0x47; "*2,GI" follows.
    const auto scrambled = record("05 0000 0A 717A759194");
    for (const bool header_only : {false, true}) {
        ASSERT_EQ(parse(end_of_file + scrambled + encryption_1 + record("04 0000 0C 312E3263"), header_only), 0);
        EXPECT_EQ(parser->ecu_info_text, "IG,2*") << header_only;
    }
}

TEST_F(HexParser_test, header_only_reads_no_data_but_tests_it)
{
    ASSERT_EQ(parse(sector_0 + record("02 1000 00 0102") + record("05 0000 0C 312E322E33"), true), 0);
    EXPECT_EQ(parser->data_block_count(), 0U);
    EXPECT_EQ(parser->software_version, "1.2.3");
    EXPECT_EQ(parse(":0210000001020A\n", true), -1);
}

TEST_F(HexParser_test, prints_what_it_holds)
{
    ASSERT_EQ(parse(sector_0 + record("02 1000 00 0102") + version_1_2), 0);
    parser->print_full();
    EXPECT_EQ(said(), "\r\n----------Hex Information----------\r\nSoftwareVersion: 1.2\r\nEncryptionVersion: 0\r\n"
                      "EcuInfo:  \r\n\r\n\r\nFlash Table Count: 1\r\nTable Range:0x00001000-0x00001fff\r\n"
                      "\tSector: 00\t Start:0x00001000\t End:0x00001fff\t Dirty\r\n\r\nData Checksum: 0x201\r\n"
                      "\r\nData Block Count: 1\r\n--Block --\r\n\tSize: 0x00000002\r\n\tMaxSize: 0x00000100\r\n"
                      "\tRange:0x00001000-0x00001001\r\n\r\n\r\n");
}

} // namespace
} // namespace qv::can_bus::flr
