#include "framework/byte_array.h"

#include <numeric>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "framework/byte_text.h"

namespace qv {
namespace {

std::vector<std::uint8_t> counting(std::uint32_t size, std::uint8_t first = 1)
{
    std::vector<std::uint8_t> bytes(size);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

/// Sizes on both sides of the limit below which nothing is allocated.
class Byte_array_size_test : public testing::TestWithParam<std::uint32_t> {};
INSTANTIATE_TEST_SUITE_P(Byte_array_test, Byte_array_size_test, testing::Values(0, 1, 8, 9, 1785));

TEST_P(Byte_array_size_test, allocates_above_eight_bytes_only)
{
    Byte_array array;
    EXPECT_EQ(array.data(), nullptr);
    ASSERT_TRUE(array.resize(GetParam()));
    EXPECT_EQ(array.on_heap(), GetParam() > 8);
    EXPECT_EQ(array.begin(), array.data());
    array.clear();
    EXPECT_EQ(array.data(), nullptr);
    EXPECT_FALSE(array.on_heap());
}

TEST_P(Byte_array_size_test, keeps_its_own_bytes_when_copied_moved_and_swapped)
{
    const auto bytes = counting(GetParam());
    for (const std::uint32_t other_size : {3U, 12U}) {
        const auto other_bytes = counting(other_size, 100);
        Byte_array array(bytes);
        Byte_array other(other_bytes);
        array.swap(other);
        EXPECT_EQ(array, Byte_array(other_bytes));
        EXPECT_EQ(other, Byte_array(bytes));
        EXPECT_EQ(other.begin(), other.data());

        const Byte_array copy(array);
        array = std::move(other);
        EXPECT_EQ(array, Byte_array(bytes));
        other = copy;
        EXPECT_EQ(other, Byte_array(other_bytes));
        EXPECT_NE(other.data(), copy.data());
    }
}

TEST_P(Byte_array_size_test, can_be_assigned_a_range_of_itself)
{
    const auto bytes = counting(GetParam());
    Byte_array array(bytes);
    const std::uint32_t half = GetParam() / 2;
    ASSERT_TRUE(array.assign(array.data() + half, GetParam() - half));
    EXPECT_EQ(array, Byte_array(std::span(bytes).subspan(half)));
}

TEST(Byte_array_test, keeps_the_storage_when_the_size_stays_where_the_fixed_one_takes_new)
{
    const auto bytes = counting(16);
    Byte_array array(bytes);
    const auto* const place = array.data();
    ASSERT_TRUE(array.assign(bytes.data(), 16));
    EXPECT_EQ(array.data(), place);

    EXPECT_FALSE(array.assign(nullptr, 4));
    EXPECT_TRUE(array.empty());
    EXPECT_TRUE(array.assign(nullptr, 0));
}

TEST(Byte_array_test, a_view_owns_nothing_and_its_copy_does)
{
    const auto bytes = counting(20);
    Byte_array_fix view = Byte_array_fix::view(std::span(bytes).subspan(2, 12));
    EXPECT_EQ(view.data(), bytes.data() + 2);
    EXPECT_FALSE(view.on_heap());
    const Byte_array_fix copy(view);
    EXPECT_TRUE(copy.on_heap());
    Byte_array_fix moved(std::move(view));
    EXPECT_EQ(moved.data(), bytes.data() + 2);
    EXPECT_EQ(copy, moved);
    ASSERT_TRUE(moved.resize(4)) << "which must not free the foreign range";
}

TEST(Byte_text_test, reads_hexadecimal_digits)
{
    const std::tuple<std::uint32_t, const char*, bool, Byte_array> rows[] = {
        {2, "ABC", false, {}},         {2, "ABCDE", true, {0xAB, 0xCD}}, {1, "G1", true, {0x01}},
        {0, "AB", false, {}},          {1, nullptr, false, {}},          {3, "0a1Bff", true, {0x0A, 0x1B, 0xFF}},
        {0xFFFFFFFF, "AB", false, {}},
    };
    for (const auto& [size, text, filled, bytes] : rows) {
        Byte_array array{0x55};
        EXPECT_EQ(from_hex_text(array, size, text), filled) << size;
        EXPECT_EQ(array, bytes) << size;
    }
}

TEST(Byte_text_test, writes_bytes_in_each_style)
{
    const Byte_array array{0x0A, 0x1B, 0x41};
    EXPECT_EQ(to_hex_text(array, 2, {.uppercase = true, .spaced = true}), " 0A 1B");
    EXPECT_EQ(to_hex_text(array, 2, {.uppercase = true, .spaced = true, .reversed = true}), " 1B 0A");
    EXPECT_EQ(to_hex_text(array), "0a1b41");
    EXPECT_EQ(to_hex_text({}), "");
    EXPECT_EQ(to_printable_text(Byte_array{0x41, 0x07, 0x1F, 0x20, 0xFF}), "A.. \xFF");
    EXPECT_EQ(to_printable_text(array, 1), ".");
}

} // namespace
} // namespace qv
