#include "framework/string/string.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "framework/string/concat_collector.h"

namespace qv::string {
namespace {

Code_point_container points(std::vector<Code_point> code_points)
{
    Code_point_container result;
    result.append(code_points.begin(), code_points.end());
    return result;
}

template <class Unit> std::vector<unsigned> units(const String<Unit>& text)
{
    return {text.units(), text.units() + text.size()};
}

// ---- values ----

TEST(String_test, tells_null_from_empty_also_in_copies_and_slices)
{
    const Utf_8_string empty("");
    const Utf_8_string no_string{null};
    const Utf_8_string copy = no_string;
    EXPECT_FALSE(empty.is_null());
    EXPECT_TRUE(empty.is_empty());
    EXPECT_TRUE(copy.is_null());
    EXPECT_TRUE(copy.is_empty());
    EXPECT_TRUE(Utf_8_string(static_cast<const char*>(nullptr)).is_null());
    EXPECT_TRUE(no_string.slice(0, 1).is_null());
    EXPECT_FALSE(empty.slice(0, 1).is_null());
    EXPECT_TRUE(Ascii_string(no_string).is_null());
    EXPECT_FALSE(empty == no_string);
    EXPECT_EQ(no_string.to_utf_8_string() + no_string.to_printable_string(), "");
}

TEST(String_test, is_empty_after_a_move_and_whole_after_assignment_to_itself)
{
    Utf_8_string text("text");
    Utf_8_string& same = text;
    text = same;
    EXPECT_EQ(text.to_utf_8_string(), "text");
    const Utf_8_string moved = std::move(text);
    EXPECT_TRUE(text.is_empty()); // NOLINT(bugprone-use-after-move): that is the test
    EXPECT_FALSE(text.is_null());
    EXPECT_EQ(moved.to_utf_8_string(), "text");
}

// ---- encodings ----

TEST(String_test, is_written_in_each_encoding_until_it_cannot)
{
    struct Case {
        const char* what;
        std::vector<Code_point> text;
        std::vector<unsigned> ascii, utf_8, utf_16;
        std::size_t utf_32;
    };
    // clang-format off
    const Case rows[] = {
        {"letters",    {'a', 0xE4, 0x7FF}, {'a', '?', '?'}, {'a', 0xC3, 0xA4, 0xDF, 0xBF}, {'a', 0xE4, 0x7FF}, 3},
        {"a zero",     {'a', 0, 'b'},      {'a', 0, 'b'},   {'a', 0, 'b'},                 {'a', 0, 'b'}, 3},
        {"thin space", {0x2009},           {' '},           {0xE2, 0x80, 0x89},            {0x2009}, 1},
        {"beyond 16",  {0x1F69C},          {'?'},           {0xF0, 0x9F, 0x9A, 0x9C},      {0xD83D, 0xDE9C}, 1},
        {"surrogate",  {'a', 0xD83D, 'b'}, {'a', '?', 'b'}, {'a', 0xED, 0xA0, 0xBD, 'b'},  {'a'}, 3},
        {"no Unicode", {0x110000, 'b'},    {'?', 'b'},      {0xF4, 0x90, 0x80, 0x80, 'b'}, {}, 2},
        {"no UTF-8",   {0x200000, 'b'},    {'?', 'b'},      {},                            {}, 2},
        {"negative",   {'a', -1, 'b'},     {'a', '?', 'b'}, {'a'},                         {'a'}, 1},
    };
    // clang-format on
    for (const auto& [what, text, ascii, utf_8, utf_16, utf_32] : rows) {
        const Code_point_container code_points = points(text);
        EXPECT_EQ(units(Ascii_string(code_points)), ascii) << what;
        EXPECT_EQ(units(Utf_8_string(code_points)), utf_8) << what;
        EXPECT_EQ(units(Utf_16_string(code_points)), utf_16) << what;
        EXPECT_EQ(Utf_32_string(code_points).size(), utf_32) << what;
    }
}

TEST(String_test, ends_a_text_from_outside_where_it_is_not_utf_8)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"plain", "plain"},      {"\xC3\xA4", "\xC3\xA4"}, {"a\x80z", "a"},        // a stray continuation byte
        {"a\xFFz", "a"},                                                           // no lead byte
        {"a\xC3", "a"},          {"a\xE2\x80", "a"},       {"a\xF0\x9F\x9A", "a"}, // cut short by the end
        {"a\xC0\xAFz", "a/z"},   // an overlong form counts as what it spells
        {"a\xC3z", "a\xC3\xBA"}, // what stands behind a lead byte is taken as it comes
    };
    for (const auto& [bytes, expected] : cases) {
        EXPECT_EQ(Utf_8_string(bytes.data(), bytes.size()).to_utf_8_string(), expected)
            << testing::PrintToString(bytes);
        EXPECT_EQ(Utf_16_string(bytes).to_utf_8_string(), expected) << testing::PrintToString(bytes);
    }
    EXPECT_EQ(Utf_8_string("ab\0c", 4).length(), 4U);
}

TEST(String_test, counts_and_converts_code_points)
{
    const Utf_8_string text("\xC3\xA4");
    EXPECT_EQ(text.length(), 1U);
    EXPECT_EQ(text.size(), 2U);
    EXPECT_EQ(Ascii_string(text).to_utf_8_string(), "?");
    EXPECT_EQ(Utf_32_string(text).at(0), 0xE4);
    EXPECT_EQ(Utf_16_string("\xF0\x9F\x9A\x9C!").to_printable_string(), "?!");
    EXPECT_EQ(internal::Functor_convert_to_utf_8(1)(Utf_16_string("\xF0\x9F\x9A\x9C!")), "!");
    EXPECT_EQ(internal::Functor_convert_to_printable_string(2)(Utf_8_string("ab")), "");
}

// ---- slices and steps ----

template <class Text> class Every_encoding : public testing::Test {};
using Encodings_of_unicode = testing::Types<Utf_8_string, Utf_16_string, Utf_32_string>;
TYPED_TEST_SUITE(Every_encoding, Encodings_of_unicode);

TYPED_TEST(Every_encoding, indexes_and_slices_by_code_point_in_shared_storage)
{
    const TypeParam text("a\xC3\xA4\xF0\x9F\x9A\x9C");
    const TypeParam tail = text.slice(1, 100);
    const TypeParam last = tail.slice(1, 1);
    EXPECT_EQ(text.at(2), 0x1F69C);
    EXPECT_EQ(text.at(3), 0);
    EXPECT_EQ(tail.length(), 2U);
    EXPECT_TRUE(tail.shares_storage_with(text));
    EXPECT_TRUE(last.shares_storage_with(text));
    EXPECT_EQ(std::vector<Code_point>(last.begin(), last.end()), std::vector<Code_point>{0x1F69C});
    EXPECT_EQ(tail.at(0), 0xE4);
    EXPECT_EQ(tail.slice(0, 1).at(1), 0) << "what lies behind a slice is not the slice's";
    EXPECT_EQ(tail.to_utf_8_string(), "\xC3\xA4\xF0\x9F\x9A\x9C");
    for (const auto& [start, count] : {std::pair{3, 1}, {0, 0}, {0, -1}, {1000000, 1}}) {
        const TypeParam nothing = text.slice(static_cast<std::size_t>(start), count);
        EXPECT_TRUE(nothing.is_empty() && !nothing.is_null()) << start << ", " << count;
    }
}

TYPED_TEST(Every_encoding, keeps_a_text_alive_as_long_as_a_slice_of_a_slice)
{
    TypeParam slice;
    {
        const TypeParam text("the text");
        slice = text.slice(2, 5).slice(2, 3);
    }
    EXPECT_EQ(slice.to_utf_8_string(), "tex");
    slice = slice.slice(1, 1);
    EXPECT_EQ(slice.to_utf_8_string(), "e");
}

TYPED_TEST(Every_encoding, walks_back_over_the_code_points_that_it_walked)
{
    using Storage = internal::String_storage<typename TypeParam::Code_unit>;
    const Code_point_container text = points({'a', 0xE4, 0x20AC, 0x1F69C, 0xDF, 'z'});
    const std::unique_ptr<Storage> storage(Storage::create(text));
    std::vector<Code_point> back;
    for (auto position = storage->end(); position != storage->begin();) {
        back.push_back(storage->previous(position));
    }
    EXPECT_TRUE(std::equal(back.rbegin(), back.rend(), text.begin(), text.end()));
}

TEST(String_test, joins_strings_of_all_encodings)
{
    const Utf_8_string joined =
        internal::Concat_collector()(Ascii_string("a"))("\xC3\xA4")(Utf_16_string("!"))(nullptr);
    EXPECT_EQ(joined.to_utf_8_string(), "a\xC3\xA4!");
    EXPECT_TRUE(Utf_8_string(internal::Concat_collector()) == Utf_8_string());
}

TEST(String_test, shares_a_text_between_threads)
{
    const Utf_8_string text("shared by several threads");
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([copy = text] {
            for (int round = 0; round < 10000; ++round) {
                const Utf_8_string again = copy;
                EXPECT_EQ(again.slice(7, 2).at(0), 'b');
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
} // namespace qv::string
