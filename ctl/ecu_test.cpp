#include "ctl/ecu.h"

#include <gtest/gtest.h>

namespace ctl {
namespace {

const std::vector<Ecu> bus = {
    {0xA0008400FFE00001, 0x80, "Sprayer-12345", "1.0", "", {}},
    {0xA0008400FFE00002, 0x81, "Sprayer-12399", "1.0", "", {}},
    {0xA0008400FFE00003, 0x26, "38", "", "", {}},
    {0xA0008400FFE00004, 0x90, "129", "", "", {}},
    {0xA0008400FFE00005, 0x91, "Spray", "", "", {}},
    {0xA0008400FFE00001, 0x92, "146", "", "", {}}, // the first once more, at an address that it took later
};

std::vector<std::int32_t> found(std::string_view text)
{
    std::vector<std::int32_t> addresses;
    for (const auto* ecu : matching_ecus(bus, text)) {
        addresses.push_back(ecu->address);
    }
    return addresses;
}

TEST(Ecu_test, is_named_by_name_address_title_or_a_part_of_it)
{
    // clang-format off
    const std::pair<const char*, std::vector<std::int32_t>> rows[] = {
        {"a0008400ffe00002", {0x81}},  {"0xA0008400FFE00002", {0x81}}, {"a0008400 ffe00002", {0x81}},
        {"a0008400-ffe00002", {}},     {"a0008400ffe0000", {}},        {"128", {0x80}},
        {"0x80", {0x80}},              {"80", {}},                     {"0x", {}},
        {"38", {0x26}},                // its address is its title
        {"129", {0x81, 0x90}},         // the address of one, the title of another
        {"Spray", {0x91}},             // a whole title wins
        {"spray", {0x80, 0x81, 0x91}}, {"2399", {0x81}},               {"R-123", {0x80, 0x81}},
        {"-", {0x80, 0x81}},           {"146", {0x92}},                {"", {}},
        {"18446744073709551744", {}},  // 2 to the 64th, plus 128
    };
    // clang-format on
    for (const auto& [text, addresses] : rows) {
        EXPECT_EQ(found(text), addresses) << text;
    }
}

} // namespace
} // namespace ctl
