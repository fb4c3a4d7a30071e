#include "bench/wire/record.h"

#include <gtest/gtest.h>

namespace bench {
namespace {

TEST(Record_test, lays_out_the_identifier_word_low_byte_first_with_its_flags)
{
    Record request{.identifier = 0x18EAFFFE, .length = 3, .data = {0x00, 0xEE, 0x00}};
    const Record_bytes extended{0xFE, 0xFF, 0xEA, 0x98, 3, 0x00, 0xEE, 0x00, 0, 0, 0, 0, 0};
    EXPECT_EQ(encode(request), extended);
    EXPECT_EQ(decode(extended), request);

    const Record_bytes remote{0x23, 0x01, 0x00, 0x40, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(decode(remote), (Record{.identifier = 0x123, .remote = true, .extended = false}));
    const Record_bytes error{0x00, 0x00, 0x00, 0xA0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(decode(error), (Record{.error = true}));
}

TEST(Record_test, refuses_a_short_record_and_more_than_eight_bytes)
{
    Record_bytes bytes{0xFE, 0xFF, 0xEA, 0x98, 9};
    EXPECT_EQ(decode(bytes), std::nullopt);
    bytes[4] = 8;
    EXPECT_TRUE(decode(bytes));
    EXPECT_EQ(decode(std::span(bytes).first(12)), std::nullopt);
}

} // namespace
} // namespace bench
