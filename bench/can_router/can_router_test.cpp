#include <array>

#include <gtest/gtest.h>

#include "bench/can_router/arbiter.h"
#include "bench/can_router/frame_length.h"
#include "bench/can_router/frame_log.h"

namespace bench {
namespace {

using std::chrono::microseconds;
using namespace std::chrono_literals;

Record frame(std::uint32_t identifier, std::array<std::uint8_t, 8> data = {}, std::uint8_t length = 8)
{
    return {.identifier = identifier, .length = length, .data = data};
}

// Counted by a script of its own, bit by bit.
TEST(Frame_length_test, counts_the_stuff_bits_that_the_contents_cause)
{
    const std::array<std::uint8_t, 8> ones{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(frame_length(frame(0x18EEFF80)), 151U);
    EXPECT_EQ(frame_length(frame(0x18EEFF80, {0x55, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55})), 135U);
    EXPECT_EQ(frame_length(frame(0x14CB2A80, {0, 1, 2, 3, 4, 5, 6, 7})), 142U);
    EXPECT_EQ(frame_length({.identifier = 0x7FF, .extended = false, .length = 8, .data = ones}), 126U);
    EXPECT_EQ(frame_length({.identifier = 0x123, .extended = false}), 48U);
    EXPECT_EQ(frame_length({.identifier = 0, .remote = true, .length = 8}), 73U);
}

TEST(Arbiter_test, the_lowest_identifier_goes_first_and_each_sender_keeps_its_order)
{
    Arbiter bus(1'000'000); // a bit a microsecond
    bus.submit(1, frame(0x18EEFF80), 0us);
    bus.submit(1, frame(0x18EA0080), 1us); // behind its own first frame, whatever its identifier
    bus.submit(1, frame(0x00000080), 1us);
    bus.submit(2, frame(0x18EB0081), 1us);
    EXPECT_FALSE(bus.next(150us));
    std::vector<std::uint32_t> order;
    while (const auto delivery = bus.next(1s)) {
        order.push_back(delivery->record.identifier);
    }
    EXPECT_EQ(order, (std::vector<std::uint32_t>{0x18EEFF80, 0x18EA0080, 0x00000080, 0x18EB0081}));
    EXPECT_FALSE(bus.due());
}

TEST(Arbiter_test, a_frame_takes_its_length_and_the_next_one_follows_without_a_gap)
{
    Arbiter bus(250'000); // 4 microseconds a bit
    bus.submit(1, frame(0x18EEFF80), 100us);
    bus.submit(1, frame(0x18EEFF80), 100us);
    EXPECT_EQ(bus.due(), 100us + 151 * 4us);
    EXPECT_EQ(bus.waiting(1), 2U);
    ASSERT_TRUE(bus.next(800us)); // looked at late
    EXPECT_EQ(bus.due(), 100us + 2 * 151 * 4us);
    bus.remove(1);
    EXPECT_TRUE(bus.next(2ms)); // it was on the bus already
    EXPECT_FALSE(bus.next(1s));
}

TEST(Frame_log_test, writes_lines_of_candump)
{
    EXPECT_EQ(candump_line(microseconds(1'700'000'000'000'042), frame(0x18EA0080, {0x00, 0xEE}, 3)),
              "(1700000000.000042) can0 18EA0080#00EE00");
    EXPECT_EQ(candump_line(0us, {.identifier = 0x12, .remote = true, .extended = false}),
              "(0000000000.000000) can0 012#R");
}

} // namespace
} // namespace bench
