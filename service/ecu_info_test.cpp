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

TEST(Ecu_info_test, fits_an_ecu_that_meets_every_condition)
{
    const auto fits_text = [](const char* text) {
        return fits(parse_ecu_info_text(text), ecu_name, "A12345-7,x");
    };
    for (const auto* text : {
             "IG,2*", "IG,1,,2*",                     // any of the values
             "IG,,5*", "SN,*",                        // an empty first value switches the test off
             "MN,151*ECUi,1*VSi,3*FC,129*VS,5*Fi,2*", // each number of the NAME
             "Colour,red*",                           // unknown keys are skipped
             "ECU P/N,12345*", "ECU P/N,-7,x*",       // within the part number, up to its comma
             "SN,4660*", "SN,1,4660*",                // 0x1234: the low 16 bits
             "Prod Fam,5*SN,4660*",                   // with their family
             "Prod Fam,*SN,332340*",                  // 0x51234: the family is left open
         }) {
        EXPECT_TRUE(fits_text(text)) << text;
    }
    // No condition at all fits nobody, and one that is not closed by "*" is dropped.
    for (const auto* text : {"", "IG,2", "IG,1,3*", "MN,151*ECUi,2*", "MN,150*", "VSi,1*", "FC,1*", "VS,1*",
                             "Fi,1*", "ECU P/N,x*", "SN,1*", "Prod Fam,5*SN,332340*", "SN,4660*IG,1*"}) {
        EXPECT_FALSE(fits_text(text)) << text;
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
