#include "bench/make_update/checker.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>

#include "framework/file/scratch_folder.h"
#include "service/hex_parser.h"

namespace bench::update {
namespace {

using testing::HasSubstr;

std::string line(Type type, std::uint16_t address, const std::vector<std::uint8_t>& data)
{
    return encode({address, type, data}) + "\n";
}

const std::string sector = line(Type::sector, 0, {0, 1, 0, 0, 0, 1, 0, 0x1F}); // 0x10000 to 0x1001f
const std::string next_sector = line(Type::sector, 1, {0, 1, 0, 0x20, 0, 1, 0, 0x3F});
const std::string version = line(Type::version, 0, {'1', '.', '2'});
const std::string encryption = line(Type::encryption, 0, {1});
const std::string upper = line(Type::linear_address, 0, {0, 1});
const std::string data = line(Type::data, 0x10, {0xAA, 0xBB});
const std::string last_data = line(Type::data, 0x1D, {0xCC, 0xDD}); // leaves one byte of the sector
const std::string end = line(Type::end_of_file, 0, {});
const std::string head = sector + version + encryption + upper; // four lines

/// The lines and, eight bytes a line, the ECU info that belongs to them.
std::string file(std::string lines, const std::string& info = "IG,2*")
{
    std::uint8_t sum = 0;
    std::istringstream stream(lines);
    for (std::string text; std::getline(stream, text);) {
        const auto type = static_cast<Type>(std::stoi(text.substr(7, 2), nullptr, 16));
        sum = static_cast<std::uint8_t>(sum + plain_sum(text, type));
    }
    const auto block = scramble(info, sum);
    for (auto place = block.begin(); place != block.end();) {
        const auto stop = place + std::min<std::ptrdiff_t>(8, block.end() - place);
        lines += line(Type::ecu_info, 0, {place, stop});
        place = stop;
    }
    return lines;
}

std::string repeated(const std::string& text, int count)
{
    std::string result;
    while (count-- > 0) {
        result += text;
    }
    return result;
}

class Checker_test : public testing::Test {
protected:
    bool check(const std::string& text)
    {
        std::ofstream(path_, std::ios::binary) << text;
        return check_file();
    }
    bool check_file()
    {
        std::ostringstream out;
        std::ostringstream problems;
        const bool good = Checker(path_, problems).check(out);
        words = problems.str();
        return good;
    }
    /// What the service makes of the file: version, ECU info, sectors to erase; and whether it fits an ECU whose
    /// NAME is all zeroes.
    std::string service()
    {
        testing::internal::CaptureStdout();
        qv::can_bus::flr::HexParser parser;
        const bool good = parser.parse(path_, false) == 0;
        const bool fits = good && parser.matches(0, "") == 0;
        testing::internal::GetCapturedStdout();
        return good ? parser.software_version + " " + parser.ecu_info_text + " " +
                          std::to_string(parser.dirty_sector_count()) + (fits ? " fits" : "")
                    : "refused";
    }

    std::string words;
    const qv::file::test::Scratch_folder folder_;
    const std::string path_ = folder_ / "update.hex";
};

TEST_F(Checker_test, names_the_line_of_what_the_service_refuses_passes_over_or_takes_for_something_else)
{
    auto pieces = line(Type::sector, 0, {0, 1, 0, 0, 0, 2, 0xFF, 0xFF}) + version + encryption +
                  line(Type::linear_address, 0, {0, 2}) + line(Type::data, 0, {1}) + upper;
    for (int address = 0xFFFF; address >= 0; --address) {
        pieces += line(Type::data, static_cast<std::uint16_t>(address), {1});
    }
    const struct {
        std::string text;
        const char* problem; ///< empty, or a warning: the file is good
        const char* service;
    } rows[] = {
        {file(head + data + end), "", "1.2 IG,2* 1"},
        {file(sector + version + ":0000000B01F4\n" + upper + data + end), "", "1.2 IG,2* 1"}, // 0 stands for 1
        {file(head + line(Type::encryption, 1, {9, 9}) + data + end), "", "1.2 IG,2* 1"},
        {file(head + line(Type::encryption, 2, {2}) + data + end), ":5: is encryption info at address 2",
         "1.2 IG,2* 1"},
        {file(head + line(Type::encryption, 0, {2}) + data + end), ":5: gives no encryption version", "1.2  1"},
        {file(head + line(Type::version, 1, {'9'}) + data + end), ":5: is a version at address 1", "1.2 IG,2* 1"},
        {file(repeated(sector, 63) + head + data + end), "", "1.2 IG,2* 1"},
        {file(repeated(sector, 64) + head + data + end), ":65: begins a table of sectors too many", "refused"},
        {file(next_sector + head + data + end), ":1: defines a sector before sector 0", "1.2 IG,2* 1"},
        {file(head + line(Type::sector, 256, {0, 1, 0, 0, 0, 1, 0, 0x1F}) + data + end), ":5: defines sector 256",
         "1.2 IG,2* 1"},
        {file(head + data + data + end), ":6: writes over bytes of an earlier line", "1.2 IG,2* 1"},
        {file(head + line(Type::linear_address, 0, {0xFF, 0xFF}) + line(Type::data, 0xFFFF, {1}) + end),
         ":6: has data at or beyond 0xffffffff", "refused"},
        {file(head + line(Type::linear_address, 0, {1}) + data + end), ":5: has 1 data bytes where 2", "refused"},
        // Data count for the sectors before them, and those at the very end of a memory erase nothing.
        {file(head + next_sector + line(Type::data, 0x1E, {1, 2, 3}) + end), "", "1.2 IG,2* 2"},
        {file(head + line(Type::data, 0x20, {1}) + end),
         ":5: has data at 0x00010020, outside of every sector before it", "1.2 IG,2* 0"},
        {file(head + next_sector + line(Type::sector, 1, {0, 1, 0, 0x40, 0, 1, 0, 0x5F}) +
              line(Type::data, 0x20, {1}) + end),
         ":7: has data at 0x00010020, outside of every sector",
         "1.2 IG,2* 2"}, // the later definition counts; between two sectors is in none
        {file(upper + data + sector + version + encryption + end),
         ":2: has data at 0x00010010, outside of every sector", "1.2 IG,2* 0"},
        {file(head + last_data + end), ":5: has data at 0x0001001d, in a sector that is not erased",
         "1.2 IG,2* 0"},
        {file(head + last_data + data + end), "", "1.2 IG,2* 1"},
        {file(head + line(Type::data, 0x1C, {1, 2}) + end), "", "1.2 IG,2* 1"},
        // The ECU info stands reversed: its first entry is in the last line.
        {file(head + data + end, "VS,5x*SN,7*"), ":8: warning: has the value '5x' for 'VS'", "1.2 VS,5x*SN,7* 1"},
        {file(head + data + end, "Ig,2*ECU P/N,*SN,0*"),
         ":9: warning: has the ECU info key 'Ig', which is unknown", "1.2 Ig,2*ECU P/N,*SN,0* 1 fits"},
        {file(head + data + end, "FC,0*ECU P/N,*SN,O*"),
         ":7: warning: has the value 'O' for 'SN', which is no decimal number", "1.2 FC,0*ECU P/N,*SN,O* 1 fits"},
        {file(head + data + end, "IG" + repeated(",7", 32) + ",0*"),
         ":15: warning: has more than 32 values for 'IG'", nullptr},
        {file(pieces + end), ":65542: begins a piece of data too many", "refused"},
        // Another plain line changes the scrambling.
        {file(head + data + end) + end, "no readable ECU info", nullptr},
    };
    for (const auto& [text, problem, taken] : rows) {
        EXPECT_EQ(check(text), *problem == '\0' || std::string(problem).find("warning") != std::string::npos)
            << text.substr(0, 1000) << words;
        EXPECT_THAT(words, HasSubstr(problem)) << text.substr(0, 1000);
        EXPECT_TRUE(taken == nullptr || service() == taken) << text.substr(0, 1000) << service();
    }
}

TEST_F(Checker_test, names_the_line_that_is_malformed)
{
    const std::pair<std::string, const char*> rows[] = {
        {":020000040001F8\n", ":1: has a wrong checksum"},
        {":02000004", ":1: is shorter than"},
        {":", ":1: is shorter than"},
        {"\r\n:0000000001FF\r\n", ":2: is longer than"},
        {":zz", ":1: holds something other"},
        {":0800011000010000 0002FFFF", ":1: holds something other"},
        {"hello", ":1: does not begin with ':'"},
        {"", "gives no software version"},
    };
    for (const auto& [text, problem] : rows) {
        EXPECT_FALSE(check(text)) << text;
        EXPECT_THAT(words, HasSubstr(problem));
    }
}

TEST_F(Checker_test, a_file_that_the_service_does_not_read_for_its_size_is_wrong)
{
    std::ofstream(path_) << file(head + data + end);
    std::filesystem::resize_file(path_, (std::uintmax_t{256} << 20) + 1);
    EXPECT_FALSE(check_file());
    EXPECT_THAT(words, HasSubstr("larger than 256 MiB"));
    EXPECT_EQ(service(), "refused");
}

} // namespace
} // namespace bench::update
