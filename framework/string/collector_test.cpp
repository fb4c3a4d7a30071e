#include "framework/string/collector.h"

#include <climits>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

namespace qv::string {
namespace {

using formatting::Collector;

std::string utf_8(const Utf_8_string& text) { return text.to_utf_8_string(); }
std::string ascii(const Ascii_string& text) { return text.to_printable_string(); }

TEST(Collector_test, lays_out_integers)
{
    // clang-format off
    const std::tuple<const char*, int, const char*> table[] = {
        {"%5d", 42, "   42"},     {"%-5d|", 42, "42   |"},  {"%.0d", 0, "0"},
        {"%05d", 42, "00042"},    {"%05d", -42, "-0042"},   {"%-05d|", 42, "42   |"},
        {"%,3i", 42, "042"},      {"%05.3d", 42, "  042"},  {"%d", INT_MIN, "-2147483648"},
        {"%+d", 42, "+42"},       {"% d", 42, " 42"},       {"% +d", 42, "+42"},
        {"%+u", 42, "42"},        {"%u", -1, "4294967295"}, {"%Zu", -1, "4294967295"},
        {"%x", 255, "ff"},        {"%#X", 255, "0XFF"},     {"%#08x", 255, "0x0000ff"},
        {"%#x", 0, "0"},          {"%Yx", 0x1FF, "ff"},     {"%Wx %%", -1, "ffffffff %"},
        {"%hx", 0x1FFFF, "ffff"}, {"%Ho", -1, "177777"},    {"%hd", 0x1FFFF, "131071"},
        {"%o", 8, "10"},          {"%#o", 8, "010"},        {"%#.3o", 8, "010"},
        {"%b", 5, "101"},         {"%p", 0x1F, "0000001f"}, {"%#P", 0x1F, "0X1F"},
        {"%#B", 5, "0B101"},      {"%3c|", 'x', "  x|"},    {"%-03c|", 'x', "x  |"},
        {"%r", 4, "iv"},          {"%R", 1994, "MCMXCIV"},  {"%R", 3888, "MMMDCCCLXXXVIII"},
        {"%R", 0, "N"},           {"%R", 4095, "MMMMXCV"},  {"%06r", -9, "   -ix"},
        {"%R", 4096, "N"},        {"%+R", INT_MAX, "+N"},   {"%:d", 1234567, "1 234 567"},
        {"%:d", -123, "-123"},    {"%:b", 37, "10 0101"},   {"%:x", 0xABCDE, "a_bc_de"},
        {"%:o", 01234, "1 234"},  {"%:05d", 1, "0 001"},    {"%:08d", -1, "-000 001"},
        {"%:04d", 1, " 001"},     {"%:.4d", 1, "0 001"},    {"%;d", 1, "1"},
    };
    // clang-format on
    for (const auto& [format, value, text] : table) {
        EXPECT_EQ(ascii(Collector(format)(value)), text) << format << " of " << value;
    }
    EXPECT_EQ(utf_8(Collector("%:d")(1234567)), "1\u2009234\u2009567");
    EXPECT_EQ(utf_8(Collector("%c %d")(0x20AC)(4000000000U)), "\u20AC -294967296");
}

TEST(Collector_test, lays_out_text)
{
    const std::tuple<const char*, const char*, const char*> table[] = {
        {"%s", "text", "text"},         {"[%6s]", "text", "[  text]"}, {"[%-6s]", "text", "[text  ]"},
        {"[%06s]", "text", "[  text]"}, {"[%.2s]", "text", "[te]"},    {"[%4.2s]", "text", "[  te]"},
        {"[%.s]", "text", "[]"},        {"[%2s]", nullptr, "[  ]"},    {"%s", "a\xC3\xA4", "a??"},
        {"ä%%%s", "ö", "ä%??"},         {"[%1s]", "text", "[text]"},
    };
    for (const auto& [format, value, text] : table) {
        EXPECT_EQ(utf_8(Collector(format)(value)), text) << format;
    }
    const std::string unterminated(5000, 'x');
    EXPECT_EQ(utf_8(Collector("%.*s")(5000)(unterminated.data())), unterminated);
    const auto address = reinterpret_cast<const char*>(std::uintptr_t{0x1FFFF0000});
    EXPECT_EQ(utf_8(Collector("%p %#P")(address)(address)), "1ffff0000 0X1FFFF0000");
}

TEST(Collector_test, takes_width_precision_and_count_from_arguments)
{
    EXPECT_EQ(utf_8(Collector("%*d")(4)(7)), "   7");
    EXPECT_EQ(utf_8(Collector("%*d|")(-4)(7)), "7   |") << "a negative width justifies to the left";
    EXPECT_EQ(utf_8(Collector("%*.*d %.*s")(6)(3)(7)(-1)("text")), "   007 text")
        << "a negative precision is none";
    int count = 0;
    EXPECT_EQ(utf_8(Collector("ä%d%n%n.")(12)(&count)(static_cast<int*>(nullptr))), "ä12.");
    EXPECT_EQ(count, 3);
}

TEST(Collector_test, keeps_the_text_in_front_of_what_does_not_fit)
{
    EXPECT_EQ(utf_8(Collector("%d %s.")(1)(2)("text")), "1 ");
    EXPECT_EQ(utf_8(Collector("a%d.")("text")(2)), "a");
    EXPECT_EQ(utf_8(Collector("a%*s.")("text")(2)), "a");
    int count = 7;
    EXPECT_EQ(utf_8(Collector("a%d%n")(&count)), "a");
    EXPECT_EQ(utf_8(Collector("a%n")(1)(&count)), "a");
    EXPECT_EQ(count, 7);
    for (const char* const format : {"a%q.", "a%5", "a%", "a%.", "a%l", "a%*", "a%5%.", "a%*5d.", "a%-", "a"}) {
        EXPECT_EQ(utf_8(Collector(format)(3)(3)(3)), "a") << format;
    }
    EXPECT_EQ(utf_8(Collector("%% 100%% %%")), "% 100% %");
    EXPECT_EQ(utf_8(Collector("a\xFF%d")(1)), "a") << "a format ends where it is not UTF-8";
    EXPECT_TRUE(Utf_8_string(Collector("")).is_empty() && !Utf_8_string(Collector("")).is_null());
    EXPECT_TRUE(Utf_8_string(Collector(nullptr)(1)).is_empty());
}

TEST(Collector_test, bounds_what_widths_and_precisions_ask_for)
{
    EXPECT_EQ(Utf_8_string(Collector("%4000000000d")(1)).size(), formatting::widest_field);
    EXPECT_EQ(Utf_8_string(Collector("%.99999999999x")(1)).size(), formatting::widest_field);
    EXPECT_EQ(Utf_8_string(Collector("%0*s")(INT_MIN)("")).size(), formatting::widest_field);
    EXPECT_EQ(Utf_8_string(Collector("%0*.*b")(4000000000U)(INT_MAX)(1)).size(), formatting::widest_field);
}

} // namespace
} // namespace qv::string
