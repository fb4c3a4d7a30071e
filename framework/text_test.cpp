#include <array>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "framework/atom.h"
#include "framework/date.h"
#include "framework/date_time.h"
#include "framework/relation.h"
#include "framework/version.h"

#include <unistd.h>

namespace qv {
namespace {

TEST(Version_test, is_written_padded_and_dotted)
{
    EXPECT_EQ(version_text(1, 20, 18, 218, true, true), "01.20.18.0218");
    EXPECT_EQ(version_text(1, 20, 18, 218, true, false), "0120180218");
    EXPECT_EQ(version_text(4294967295U, 4294967295U, 4294967295U, 4294967295U, false, true),
              "4294967295.4294967295.4294967295.4294967295");
}

TEST(Date_test, counts_the_seconds_between_two_moments)
{
    Date earlier;
    Date later;
    ASSERT_TRUE(from_utc(earlier, 1399360089)); // 2014-05-06 07:08:09
    ASSERT_TRUE(from_utc(later, 1399360089 + 86400 + 5));
    EXPECT_EQ(date_file_text(earlier), "2014_05_06__07_08_09");
    EXPECT_EQ(seconds_between(earlier, later), 86405);
    EXPECT_EQ(seconds_between(later, earlier) + seconds_between(earlier, earlier), 0);
    EXPECT_FALSE(from_utc(earlier, std::time_t{1} << 45)) << "a year that the field cannot hold";
    EXPECT_EQ(earlier.year, 2014);
}

TEST(Date_time_test, is_read_from_text_and_written_again)
{
    const std::tuple<const char*, unsigned, const char*> rows[] = {
        {"2014-05-06T07:08:09.5+01:30", 3, "2014-05-06T07:08:09.500+01:30"},
        {"2014-05-06T07:08:09Z", 0, "2014-05-06T07:08:09+00:00"},
        {"2014-05-06_07-08-09", 0, "2014-05-06T07:08:09"},
        {"2014-05-06T07:08:09.25-00:30", 1, "2014-05-06T07:08:09.3-00:30"},
        {"2014-05-06T07:08:09.123456789", 3, "2014-05-06T07:08:09.123"},
        {"2014-05-06T07:08:09.123456789Z", 99, "2014-05-06T07:08:09.123456789+00:00"},
        {"2014-05-06T07:08:09.999999999", 3, "2014-05-06T07:08:09.999"},
        {"2014", 0, "2014-01-01T00:00:00"},
        {"2014-x-7", 0, "2014-01-07T00:00:00"},
        {"99999999999999999999-1-1", 0, "2147483647-01-01T00:00:00"},
        {"", 3, ""},
        {"T:.+", 3, ""},
    };
    for (const auto& [text, digits, written] : rows) {
        EXPECT_EQ(date_time_text(parse_date_time(text), digits), written) << text;
    }
    const Date_time value = parse_date_time("2014-05-06T07:08:09.5+01:30");
    EXPECT_EQ(value.nanosecond, 500'000'000);
    EXPECT_EQ(value.offset_minutes, 90);
    EXPECT_EQ(date_text(value) + " " + time_text(value), "2014-05-06 07:08:09");
    EXPECT_EQ(date_time_text(value, 0, {'_', '.', '-'}), "2014.05.06_07-08-09+01-30");
    EXPECT_EQ(time_text({}), "");
}

TEST(Relation_test, compares_with_a_tolerance_that_grows_with_the_numbers)
{
    using namespace relation;
    EXPECT_EQ(compare(1.0F, 1.0000001F), equal);
    EXPECT_EQ(compare(1.0F, 1.001F), less);
    EXPECT_EQ(compare(1e9, 1e9 + 500), equal);
    EXPECT_EQ(compare(1e9, 1e9 - 2000), greater);
    EXPECT_EQ(compare(1.0, 1.5, 0.5), less) << "a difference of epsilon is one";
    for (const auto& [result, expected] : {std::pair{0, 0}, {1, 1}, {2, 3}, {3, 2}, {4, 0}}) {
        EXPECT_EQ(inverse(result), expected);
    }
    EXPECT_EQ(relation::round(2.5, 0.5), 3.0);
    EXPECT_EQ(relation::round(-2.5F, 0.5F), -3.0F);
    EXPECT_EQ(relation::round(2.4, 0.5), 2.0);
}

TEST(Relation_test, compares_bytes_as_little_endian_numbers)
{
    const std::array<std::uint8_t, 3> small = {0xFF, 0x01, 0x02};
    const std::array<std::uint8_t, 3> large = {0x00, 0x02, 0x02};
    EXPECT_EQ(relation::compare_bytes(small.data(), large.data(), 3), relation::less);
    EXPECT_EQ(relation::compare_bytes(small.data(), large.data(), 1), relation::greater);
    EXPECT_EQ(relation::compare_bytes(small.data(), large.data(), 0), relation::equal);
    EXPECT_EQ(relation::compare_bytes(nullptr, large.data(), 0), relation::none);
}

TEST(Atom_test, is_seen_by_others_until_somebody_removes_it)
{
    const std::string name = "flintrow test " + std::to_string(::getpid());
    Atom mine(name);
    Atom other(name);
    EXPECT_FALSE(other.exists());
    EXPECT_TRUE(mine.create_if_absent());
    EXPECT_TRUE(other.create_if_absent()) << "the one that is there will do";
    EXPECT_TRUE(other.remove());
    EXPECT_FALSE(mine.exists());
    EXPECT_FALSE(mine.remove());
    EXPECT_FALSE(Atom("a/b").create());
}

} // namespace
} // namespace qv
