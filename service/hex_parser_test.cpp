#include "service/hex_parser.h"

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace qv::can_bus::flr {
namespace {

using testing::HasSubstr;

/// Completes a record by its checksum: record("10 0100 00 AABB") is one line of a file.
std::string record(const std::string& fields)
{
    std::string digits;
    std::copy_if(fields.begin(), fields.end(), std::back_inserter(digits), [](char c) { return c != ' '; });
    unsigned sum = 0;
    for (std::size_t place = 0; place + 1 < digits.size(); place += 2) {
        sum += static_cast<unsigned>(std::stoul(digits.substr(place, 2), nullptr, 16));
    }
    char checksum[3];
    std::snprintf(checksum, sizeof checksum, "%02X", (0x100U - (sum & 0xFF)) & 0xFF);
    return ":" + digits + checksum + "\n";
}

const std::string sector_0 = record("08 0000 10 00001000 00001FFF");
const std::string sector_1 = record("08 0001 10 00002000 00002FFF");
const std::string encryption_1 = record("01 0000 0B 01");
const std::string end_of_file = ":00000001FF\n";

class HexParser_test : public testing::Test {
protected:
    ~HexParser_test() override { std::remove(path_.c_str()); }

    int parse(const std::string& text, bool header_only = false)
    {
        std::ofstream(path_, std::ios::binary) << text;
        testing::internal::CaptureStdout();
        const auto result = parser.parse(path_, header_only);
        words = testing::internal::GetCapturedStdout();
        return result;
    }

    std::vector<std::uint32_t> block_starts() const
    {
        std::vector<std::uint32_t> starts;
        for (const auto* block = parser.first_block(); block != nullptr; block = block->next) {
            starts.push_back(block->start);
        }
        return starts;
    }

    HexParser parser;
    std::string words;
    std::string path_ = testing::TempDir() + "hex_parser_test_" + std::to_string(::getpid()) + ".hex";
};

TEST_F(HexParser_test, an_empty_file_and_a_foreign_text_parse_and_fit_nobody)
{
    EXPECT_EQ(parse(""), 0);
    EXPECT_EQ(words, "Unsupported ECU Encryption Version\r\n");
    EXPECT_EQ(parser.software_version, "Missing");
    EXPECT_EQ(parse("PK\3\4 any: thing\n\n\rnothing"), 0);
    EXPECT_EQ(parser.matches(0, "1"), -1);
}

struct Refused {
    const char* name;
    std::string text;
};

class Refused_test : public HexParser_test, public testing::WithParamInterface<Refused> {};

TEST_P(Refused_test, is_refused) { EXPECT_EQ(parse(sector_0 + GetParam().text + end_of_file), -1); }

INSTANTIATE_TEST_SUITE_P(
    bad_files, Refused_test,
    testing::Values(Refused{"wrong_checksum", ":0100000000FE\n"}, Refused{"no_digits", ":\n"},
                    Refused{"shorter_than_its_length", ":10000000AABB\n"},
                    Refused{"no_hexadecimal_digit", ":0100000G00FF\n"},
                    Refused{"upper_address_of_one_byte", record("01 0000 04 12")},
                    Refused{"definition_of_seven_bytes", record("07 0000 10 00001000 00001F")},
                    Refused{"data_beyond_32_bits", record("02 0000 04 FFFF") + record("02 FFFF 00 1122")},
                    Refused{"ecu_info_too_long",
                            [] {
                                std::string text;
                                for (int part = 0; part < 5; ++part) {
                                    text += record("FF 0000 0A " + std::string(510, '1'));
                                }
                                return text;
                            }()},
                    Refused{"tables_without_end",
                            [] {
                                std::string text;
                                for (int table = 0; table < 64; ++table) {
                                    text += sector_0;
                                }
                                return text;
                            }()}),
    [](const auto& row) { return row.param.name; });

TEST_F(HexParser_test, only_a_readable_regular_file_is_read)
{
    for (const char* path : {"/nonexistent/update.hex", "/", "/dev/zero"}) {
        EXPECT_EQ(parser.parse(path, false), -1) << path;
    }
}

TEST_F(HexParser_test, addresses_make_blocks)
{
    const auto data = [](const std::string& address) { return record("02 " + address + " 00 A1B2"); };
    ASSERT_EQ(parse(sector_0 + data("1000") + data("1002") +   // neighbours
                    record("02 0000 04 0000") + data("1004") + // an address record between
                    data("1004") +                             // overlap
                    data("1000") +                             // backwards
                    record("02 0000 02 0200") + data("0010") + // 16 x 0x200 + 0x10
                    record("02 0000 04 0001") + data("0010") + // linear ends segment
                    record("02 0000 02 0100") + data("0000")), // segment ends linear
              0);
    EXPECT_THAT(block_starts(), testing::ElementsAre(0x1000, 0x1004, 0x1000, 0x2010, 0x10010, 0x1000));
    EXPECT_EQ(parser.data_size(), 16U);
    EXPECT_EQ(parser.data_checksum(), 8 * 0xB2A1U);
    EXPECT_THAT(words,
                HasSubstr("Warning: Record not found in Memory Tables\r\nRecord 0x00010010 for 2 bytes\r\n"));
}

TEST_F(HexParser_test, a_block_grows_by_8192_bytes_and_the_gap_behind_its_data_is_ff)
{
    std::string text = sector_0;
    for (unsigned address = 0x1000; address < 0x1110; address += 16) {
        char fields[64];
        std::snprintf(fields, sizeof fields, "10 %04X 00 %032d", address, 0);
        text += record(fields);
    }
    ASSERT_EQ(parse(text), 0);
    const auto* block = parser.first_block();
    EXPECT_EQ(block->capacity, 256U + 8192U);
    EXPECT_EQ(block->buffer.get()[271], 0x00);
    EXPECT_EQ(block->buffer.get()[272], 0xFF);
    EXPECT_EQ(block->buffer.get()[8447], 0xFF);
}

struct Marking {
    const char* address;
    std::vector<int> dirty;
};

TEST_F(HexParser_test, a_record_marks_the_sectors_that_it_touches)
{
    const std::vector<Marking> rows = {
        {"1000", {0}},    {"1FFC", {0}}, // ends before the last byte of sector 0
        {"1FFD", {0, 1}},                // ends on it
        {"1FFF", {0, 1}},                // crosses
        {"2000", {1}},    {"2FFE", {}},  // the end of the memory: only the warning
        {"0FFF", {}},
    };
    for (const auto& row : rows) {
        HexParser fresh;
        std::ofstream(path_) << sector_0 + sector_1 + record("02 " + std::string(row.address) + " 00 0102");
        testing::internal::CaptureStdout();
        ASSERT_EQ(fresh.parse(path_, false), 0);
        const auto output = testing::internal::GetCapturedStdout();
        std::vector<int> dirty;
        for (int index = 0; index < 256; ++index) {
            if (fresh.first_table()->sectors[static_cast<std::size_t>(index)].dirty) {
                dirty.push_back(index);
            }
        }
        EXPECT_EQ(dirty, row.dirty) << row.address;
        EXPECT_EQ(fresh.dirty_sector_count(), row.dirty.size()) << row.address;
        EXPECT_EQ(output.find("Warning") != output.npos, row.dirty.empty()) << row.address;
    }
}

TEST_F(HexParser_test, definitions_fill_tables_from_index_0_on)
{
    ASSERT_EQ(parse(record("08 0005 10 00000000 0000FFFF")), 0); // no table to write into
    EXPECT_THAT(words, HasSubstr("Error: Memory Definition out of bounds\r\n"));
    EXPECT_EQ(parser.flash_table_count(), 0U);
    ASSERT_EQ(parse(sector_0 + record("08 00FF 10 00009000 00009FFF") + record("08 0100 10 0000A000 0000AFFF") +
                    sector_0),
              0);
    EXPECT_EQ(parser.flash_table_count(), 2U);
    EXPECT_TRUE(parser.first_table()->sectors[255].exists);
    EXPECT_EQ(parser.first_table()->high, 0x9FFFU);
    EXPECT_EQ(parser.sector_index_of(0x9FFE), 255);
    EXPECT_EQ(parser.sector_index_of(0x9FFF), -1); // the last byte is in no sector by this test
    EXPECT_EQ(parser.sector_end_of(0x1000), 0x1FFFU);
    EXPECT_EQ(parser.sector_end_of(0x3000), 0U);
}

// "IG,2*" reversed and added to the running sum; computed by hand for the text before it.
TEST_F(HexParser_test, ecu_info_is_unscrambled_with_the_sum_of_the_plain_text)
{
    // ":00000001FF": 0x3A + 7 x 0x30 + 0x31 + 2 x 0x46 = 0x247, so the key starts at 0x47; "*2,GI" follows.
    const auto scrambled = record("05 0000 0A 717A759194");
    for (const bool header_only : {false, true}) {
        HexParser fresh;
        std::ofstream(path_) << end_of_file + scrambled + encryption_1 + record("04 0000 0C 312E3263");
        ASSERT_EQ(fresh.parse(path_, header_only), 0);
        EXPECT_EQ(fresh.ecu_info_text, "IG,2*") << header_only;
    }
}

TEST_F(HexParser_test, header_only_reads_no_data_but_tests_it)
{
    ASSERT_EQ(parse(sector_0 + record("02 1000 00 0102") + record("05 0000 0C 312E322E33"), true), 0);
    EXPECT_EQ(parser.data_block_count(), 0U);
    EXPECT_EQ(parser.software_version, "1.2.3");
    EXPECT_EQ(parse(":0210000001020A\n", true), -1);
}

TEST_F(HexParser_test, prints_what_it_holds)
{
    ASSERT_EQ(parse(sector_0 + record("02 1000 00 0102") + record("03 0000 0C 312E32")), 0);
    testing::internal::CaptureStdout();
    parser.print_full();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\r\n----------Hex Information----------\r\nSoftwareVersion: 1.2\r\nEncryptionVersion: 0\r\n"
              "EcuInfo:  \r\n\r\n\r\nFlash Table Count: 1\r\nTable Range:0x00001000-0x00001fff\r\n"
              "\tSector: 00\t Start:0x00001000\t End:0x00001fff\t Dirty\r\n\r\nData Checksum: 0x201\r\n"
              "\r\nData Block Count: 1\r\n--Block --\r\n\tSize: 0x00000002\r\n\tMaxSize: 0x00000100\r\n"
              "\tRange:0x00001000-0x00001001\r\n\r\n\r\n");
}

TEST_F(HexParser_test, a_line_longer_than_the_buffer_is_passed_over)
{
    ASSERT_EQ(parse(std::string(200000, 'x') + "\n" + record("03 0000 0C 312E32")), 0);
    EXPECT_EQ(parser.software_version, "1.2");
}

} // namespace
} // namespace qv::can_bus::flr
