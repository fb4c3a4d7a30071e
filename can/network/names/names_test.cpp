#include "can/network/names/names.h"

#include <gtest/gtest.h>

#include "can/network/names/row.h"

namespace qv::can_bus::names {
namespace {

TEST(Names_test, a_table_gives_each_of_its_rows_and_nothing_in_between)
{
    static constexpr Row table[] = {{1, "one"}, {3, "three"}, {5, "five"}, {6, "six"}};
    std::string found;
    for (std::uint32_t key = 0; key <= 7; ++key) {
        found.append(find(table, key, "-")).append(" ");
    }
    EXPECT_EQ(found, "- one - three - five six - ");
    EXPECT_STREQ(find({}, 1), "");

    EXPECT_TRUE(is_sorted_and_unique(table));
    EXPECT_FALSE(is_sorted_and_unique(std::vector<Row>{{1, "one"}, {1, "again"}}));
    EXPECT_FALSE(is_sorted_and_unique(std::vector<Row>{{1, "one"}, {3, "three"}, {2, "two"}}));
}

TEST(Names_test, a_function_from_128_on_depends_on_the_device_class_and_that_on_the_industry_group)
{
    const struct {
        std::uint32_t industry_group, device_class, function;
        const char *device_class_name, *function_name;
    } rows[] = {
        {0, 0, 29, "non-specific", "virtual terminal (in cab)"},
        {5, 77, 29, "device class unknown", "virtual terminal (in cab)"},
        {2, 0, 127, "non-specific", ""},
        {2, 0, 128, "non-specific", "non virtual terminal display"},
        {2, 25, 135, "slurry applicator", "boom height control"},
        {2, 25, 255, "slurry applicator", "agriculture, function unknown"},
        {2, 26, 128, "device class unknown", "agriculture, function unknown"},
        {0, 0, 128, "non-specific", ""},
        {0, 1, 128, "", ""},
        {1, 25, 135, "device class unknown", ""},
    };
    for (const auto& row : rows) {
        EXPECT_STREQ(device_class(row.industry_group, row.device_class), row.device_class_name);
        EXPECT_STREQ(function(row.industry_group, row.device_class, row.function), row.function_name);
    }
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
