#include "ctl/text.h"

#include <array>
#include <clocale>

#include <gtest/gtest.h>

namespace ctl {
namespace {

TEST(Text_test, lets_nothing_through_that_a_terminal_would_obey_or_hide)
{
    const std::array<std::string, 3> rows[] = {
        // a text, how it is shown in UTF-8 and in the locale C
        {"Sprayer-12345", "Sprayer-12345", "Sprayer-12345"},
        {"a\x1b[2Jb\r\n\t\x7f", R"(a\x1b[2Jb\x0d\x0a\x09\x7f)", R"(a\x1b[2Jb\x0d\x0a\x09\x7f)"},
        {std::string("a\0b", 3), R"(a\x00b)", R"(a\x00b)"},
        {"Ger\xc3\xa4te", "Ger\xc3\xa4te", R"(Ger\xc3\xa4te)"},
        {"Ger\xe4te", R"(Ger\xe4te)", R"(Ger\xe4te)"},
        {"\xc3\x9b", "\xc3\x9b", R"(\xc3\x9b)"}, // its second byte alone would begin a sequence
        {"\xc2\x9b[m", R"(\xc2\x9b[m)", R"(\xc2\x9b[m)"},
        {"\xe2\x80\xae.", R"(\xe2\x80\xae.)", R"(\xe2\x80\xae.)"}, // right to left from here
        {"e\xcc\x81", R"(e\xcc\x81)", R"(e\xcc\x81)"},
        {"\xe2\x82", R"(\xe2\x82)", R"(\xe2\x82)"}, // ends in the middle
    };
    for (const auto& [text, utf_8, c] : rows) {
        ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
        EXPECT_EQ(printable(text), utf_8);
        std::setlocale(LC_CTYPE, "C");
        EXPECT_EQ(printable(text), c);
    }
}

TEST(Text_test, cuts_between_characters_and_marks_the_cut)
{
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    EXPECT_EQ(printable("abcdef", 6), "abcdef");
    EXPECT_EQ(printable("abcdefg", 6), "abc...");
    EXPECT_EQ(printable("ab\xc3\xa4\xc3\xa4\xc3\xa4\xc3\xa4", 5), "ab...");
    EXPECT_EQ(printable("ab\x01ghij", 6), "ab...") << "an escape is not cut into two";
    EXPECT_EQ(printable("abcdefg", 2), "..");
    EXPECT_EQ(columns("\xe6\xb0\xb4 \xc3\xa4"), 4U) << "a wide character, a blank, a narrow one";
}

TEST(Text_test, aligns_the_columns_of_a_table_by_what_the_eye_sees)
{
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    Table table({"TITLE", "VERSION"});
    table.add({"M\xc3\xa4her\x07", "1.0"});
    table.add({"x", ""});
    EXPECT_EQ(table.text(), "TITLE      VERSION\n"
                            "M\xc3\xa4her\\x07  1.0\n"
                            "x\n");
}

} // namespace
} // namespace ctl
