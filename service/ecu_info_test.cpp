#include "service/ecu_info.h"

#include <gtest/gtest.h>

#include "can/network/pdu/name.h"

namespace qv::can_bus::flr {
namespace {

constexpr auto ecu_name = name::compose({.identity_number = 0x5'1234,
                                         .manufacturer_code = 151,
                                         .ecu_instance = 1,
                                         .function_instance = 2,
                                         .function = 129,
                                         .device_class = 5,
                                         .device_class_instance = 3,
                                         .industry_group = 2,
                                         .self_configurable = 1});

struct Condition {
    const char* text;
    bool fits;
};

TEST(Ecu_info_test, fits_an_ecu_that_meets_every_condition)
{
    constexpr Condition rows[] = {
        {"", false},     // no condition fits nobody
        {"IG,2", false}, // not closed by "*", so dropped
        {"IG,2*", true},
        {"IG,1,,2*", true}, // any of the values
        {"IG,1,3*", false},
        {"IG,,5*", true}, // an empty first value switches the test off
        {"MN,151*ECUi,1*VSi,3*FC,129*VS,5*Fi,2*", true},
        {"MN,151*ECUi,2*", false},
        {"MN,150*", false},
        {"VSi,1*", false},
        {"FC,1*", false},
        {"VS,1*", false},
        {"Fi,1*", false},
        {"Colour,red*", true},    // unknown keys are skipped
        {"ECU P/N,12345*", true}, // within the part number, up to its comma
        {"ECU P/N,-7,x*", true},
        {"ECU P/N,x*", false},
        {"Prod Fam,5*SN,4660*", true}, // 0x1234: the low 16 bits
        {"Prod Fam,5*SN,332340*", false},
        {"Prod Fam,*SN,332340*", true}, // 0x51234: the family is left open
        {"SN,4660*", true},
        {"SN,1,4660*", true},
        {"SN,1*", false},
        {"SN,*", true},
        {"SN,4660*IG,1*", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(fits(parse_ecu_info_text(row.text), ecu_name, "A12345-7,x"), row.fits) << row.text;
    }
    EXPECT_TRUE(fits(parse_ecu_info_text("ECU P/N,unknown*"), ecu_name, nullptr));
}

TEST(Ecu_info_test, keeps_thirty_two_values)
{
    std::string text = "SN";
    for (int value = 0; value < 40; ++value) {
        text.append(1, ',').append(std::to_string(value));
    }
    const auto info = parse_ecu_info_text(text + "*,,*plain*rest");
    ASSERT_EQ(info.size(), 3U);
    EXPECT_EQ(info[0].values.size(), 32U);
    EXPECT_EQ(info[0].values.back(), "31");
    EXPECT_EQ(info[1].key, "");
    EXPECT_TRUE(info[2].is_open());
}

} // namespace
} // namespace qv::can_bus::flr
