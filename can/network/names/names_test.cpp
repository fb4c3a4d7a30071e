#include "can/network/names/names.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "can/network/names/row.h"

namespace qv::can_bus::names {
namespace {

using Text = std::string; ///< so that texts are compared, not places

TEST(Names_test, a_table_gives_each_of_its_rows_and_nothing_in_between)
{
    static constexpr Row table[] = {{1, "one"}, {3, "three"}, {5, "five"}, {6, "six"}};
    Text found;
    for (std::uint32_t key = 0; key <= 7; ++key) {
        found += Text(find(table, key, "-")) + " ";
    }
    EXPECT_EQ(found, "- one - three - five six - ");
    EXPECT_EQ(find({}, 1), Text());

    EXPECT_TRUE(is_sorted_and_unique(table));
    EXPECT_FALSE(is_sorted_and_unique(std::vector<Row>{{1, "one"}, {1, "again"}}));
    EXPECT_FALSE(is_sorted_and_unique(std::vector<Row>{{1, "one"}, {3, "three"}, {2, "two"}}));
}

TEST(Names_test, name_the_fields_of_a_name)
{
    EXPECT_EQ(industry_group(2), Text("agriculture/forestry"));
    EXPECT_EQ(industry_group(6), Text("industry group unknown"));

    EXPECT_EQ(device_class(2, 0), Text("non-specific"));
    EXPECT_EQ(device_class(2, 25), Text("slurry applicator"));
    EXPECT_EQ(device_class(2, 26), Text("device class unknown"));
    EXPECT_EQ(device_class(0, 0), Text("non-specific"));
    EXPECT_EQ(device_class(0, 1), Text());
    EXPECT_EQ(device_class(1, 0), Text("device class unknown"));

    EXPECT_EQ(manufacturer(0), Text());
    EXPECT_EQ(manufacturer(581), Text("V\xC3\xA4"
                                      "derstad AB")); // as it is written
    EXPECT_EQ(manufacturer(2047), Text());
}

TEST(Names_test, a_function_from_128_on_depends_on_the_device_class)
{
    struct Row {
        std::uint32_t industry_group, device_class, function;
        const char* name;
    };
    for (const auto& row : {Row{0, 0, 29, "virtual terminal (in cab)"},
                            {5, 77, 29, "virtual terminal (in cab)"},
                            {2, 0, 127, ""},
                            {2, 0, 128, "non virtual terminal display"},
                            {2, 7, 128, "tailing monitor"},
                            {2, 25, 135, "boom height control"},
                            {2, 7, 136, "agriculture, function unknown"},
                            {2, 10, 132, "agriculture, function unknown"}, // a class of which none is known
                            {2, 127, 255, "agriculture, function unknown"},
                            {0, 0, 128, ""},
                            {1, 7, 128, ""}}) {
        EXPECT_EQ(function(row.industry_group, row.device_class, row.function), Text(row.name))
            << row.industry_group << " " << row.device_class << " " << row.function;
    }
}

TEST(Names_test, a_function_of_a_terminal_is_named_by_its_direction)
{
    struct Row {
        std::uint32_t code;
        const char *ecu_to_vt, *vt_to_ecu;
    };
    for (const auto& row : {Row{0x00, "soft key activation response", "soft key activation"},
                            {0x0A, "", "vt control audio signal termination"},
                            {0x11, "object pool transfer", ""},
                            {0x24, "auxiliary assignment response", "auxiliary assignment"},
                            {0x91, "", ""},
                            {0xA8, "change numeric value", "change numeric value response"},
                            {0xDF, "get versions", ""},
                            {0xE0, "", "get versions response"},
                            {0xFD, "unsupported vt function", "vt unsupported vt function"},
                            {0xFE, "", "vt status"},
                            {0xFF, "working set maintenance", ""}}) {
        EXPECT_EQ(ecu_to_vt_function(row.code), Text(row.ecu_to_vt)) << row.code;
        EXPECT_EQ(vt_to_ecu_function(row.code), Text(row.vt_to_ecu)) << row.code;
    }
}

TEST(Names_test, a_command_of_process_data_has_four_bits)
{
    EXPECT_EQ(process_data_command(0), Text("technical_data"));
    EXPECT_EQ(process_data_command(15), Text("client task"));
    EXPECT_EQ(process_data_command(16), Text("invalid"));
}

TEST(Names_test, a_device_class_is_told_by_number_by_name_or_left_open)
{
    for (std::uint32_t number = 0; number <= 25; ++number) {
        EXPECT_EQ(device_class_from_text(std::to_string(number)), number);
        EXPECT_EQ(device_class_from_text(device_class(2, number)), number);
    }
    EXPECT_EQ(device_class_from_text("transport"), 11U);
    EXPECT_EQ(device_class_from_text("trailer"), 11U);
    EXPECT_EQ(device_class_from_text("auto"), device_class_auto);
    for (const char* text :
         {"", "26", "126", "-1", "+1", " 1", "1 ", "01", "00", "4294967297", "Tractor", "tract"}) {
        EXPECT_FALSE(device_class_from_text(text)) << text;
    }
}

} // namespace
} // namespace qv::can_bus::names
