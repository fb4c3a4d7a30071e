#include "framework/string/text.h"

#include <gtest/gtest.h>

#include <vector>

#include "framework/string/code_page.h"

namespace qv::string {
namespace {

std::string all_bytes(int first, int last)
{
    std::string result;
    for (int byte = first; byte <= last; ++byte) {
        result.push_back(static_cast<char>(byte));
    }
    return result;
}

TEST(Code_page_test, takes_every_character_of_a_page_there_and_back)
{
    const std::string western = all_bytes(0, 0x7F).append(all_bytes(0xA0, 0xFF));
    EXPECT_EQ(utf_8_to_latin_1(latin_1_to_utf_8(western)), western);
    EXPECT_EQ(utf_8_to_latin_5(latin_5_to_utf_8(western)), western);
    EXPECT_EQ(latin_5_to_utf_8("\xB0\xA0\xAD\xF0\xFD\xFF"), "\u0410\u00A0\u00AD\u2116\u00A7\u045F");
    EXPECT_EQ(latin_1_to_utf_8("\xE4\xFF"), "\u00E4\u00FF");
}

TEST(Code_page_test, shows_what_a_page_lacks_as_question_marks)
{
    EXPECT_EQ(latin_1_to_utf_8("ab\x85"
                               "cd"),
              "ab");
    EXPECT_EQ(latin_5_to_utf_8("a\x80\x9F"), "a??");
    EXPECT_EQ(utf_8_to_latin_1("a\u20AC\u0410z"), "a?????z");            // one for each byte
    EXPECT_EQ(utf_8_to_latin_5("a\u20AC\u0085\u00E4\u0460z"), "a????z"); // one for each character
    EXPECT_EQ(utf_8_to_latin_1("\xC3"), "?");
    EXPECT_EQ(utf_8_to_latin_1("\xC2z"), "?z");
    EXPECT_EQ(utf_8_to_latin_5("\x80\xFF\xD0z\xD0"), "???z?");
}

TEST(Text_test, reads_hexadecimal_numbers_and_stops_behind_them)
{
    for (const auto& [text, value, rest] : std::vector<std::tuple<const char*, std::uint32_t, std::string>>{
             {"1f 2", 0x1F, " 2"}, {"  0xABz", 0xAB, "z"}, {"xyz", 0, "xyz"}, {"", 0, ""}}) {
        const char* position = text;
        EXPECT_EQ(parse_hex(position), value) << text;
        EXPECT_EQ(position, rest) << text;
    }
    EXPECT_EQ(hex_value('f') + hex_value('A') + hex_value('9') + hex_value('g'), 15U + 10 + 9);
    EXPECT_EQ(hex_digit(0x3A, true), 'A');
}

TEST(Text_test, cuts_a_formatted_text_to_its_buffer)
{
    EXPECT_EQ(format_to_string(4, "%s", "abcdef"), "abc");
    EXPECT_EQ(format_to_string(0, "%s", "abcdef"), "");
    EXPECT_EQ(format_to_string(64, "%d-%s", 7, "x"), "7-x");
}

TEST(Text_test, cuts_a_text_at_its_delimiters)
{
    using Pieces = std::vector<std::string>;
    const auto pieces = [](std::string text, bool skip_empty) {
        Pieces result;
        char* rest = nullptr;
        for (const char* token = tokenize(text.data(), ",;", rest, skip_empty); token != nullptr;
             token = tokenize(nullptr, ",;", rest, skip_empty)) {
            result.emplace_back(token);
        }
        return result;
    };
    EXPECT_EQ(pieces(",a;,b", false), (Pieces{"", "a", "", "b"}));
    EXPECT_EQ(pieces(",a;,b,", true), (Pieces{"a", "b"}));
    EXPECT_EQ(pieces("a,", false), (Pieces{"a", ""}));
    EXPECT_EQ(pieces("", true), Pieces{});
    const char* rest = nullptr;
    char found = 0;
    EXPECT_STREQ(tokenize("a;b", ",;", rest, found, false), "a;b");
    EXPECT_TRUE(found == ';' && std::string(rest) == "b");
}

TEST(Text_test, replaces_without_looking_at_what_it_put_in)
{
    std::string text = "aaa.b";
    replace_all(text, "a", "aa");
    EXPECT_EQ(text, "aaaaaa.b");
    replace_all(text, "", "x");
    replace_all(text, "aaaa", "");
    replace_character(text, '.', '_');
    EXPECT_EQ(text, "aa_b");
    to_upper(text);
    EXPECT_EQ(text, "AA_B");
}

TEST(Text_test, removes_whitespace_of_every_width_and_leaves_other_bytes)
{
    EXPECT_EQ(remove_whitespace("a\t b\u00A0\u2003\u3000c\r\n\u0420\xA0\xFF"), "abc\u0420\xA0\xFF");
    EXPECT_EQ(remove_whitespace("\xC0J\xC2 \xC3 x"), "\xC0J\xC2\xC3x");
}

TEST(Text_test, tells_utf_8_from_other_bytes)
{
    for (const std::string valid : {"a\xC2\x80\xE2\x82\xAC\xF0\x9F\x9A\x9C", "", "\t\r\n"}) {
        EXPECT_TRUE(is_valid_utf_8(valid.data(), valid.size(), true) && is_well_formed_utf_8(valid))
            << testing::PrintToString(valid);
    }
    for (const std::string lenient : {"\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
        EXPECT_TRUE(is_valid_utf_8(lenient.data(), lenient.size(), true) && !is_well_formed_utf_8(lenient))
            << testing::PrintToString(lenient);
    }
    for (const std::string text :
         {"\xC1\x80", "\xF5\x80\x80\x80", "\x80", "\xC3", "\xE2\x82", "\xE2\x28\xA1", "\x01"}) {
        EXPECT_FALSE(is_valid_utf_8(text.data(), text.size(), true)) << testing::PrintToString(text);
        EXPECT_TRUE(text == "\x01" || !is_well_formed_utf_8(text)) << testing::PrintToString(text);
    }
    EXPECT_TRUE(is_valid_utf_8("\t\r\n\x01", 4, false));
    EXPECT_TRUE(has_utf_16_bom("\xFE\xFFz") && has_utf_16_bom("\xFF\xFE") && !has_utf_16_bom("\xFF"));
}

} // namespace
} // namespace qv::string
