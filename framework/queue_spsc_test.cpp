#include "framework/queue_spsc.h"

#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "framework/byte_array.h"

namespace qv {
namespace {

TEST(Queue_spsc_test, is_only_made_with_a_capacity_that_lets_the_counters_wrap)
{
    for (const std::uint32_t capacity : {0U, 3U, 100U, 0x10000U}) {
        EXPECT_EQ(Queue_spsc<int>::create(capacity), nullptr) << capacity;
    }
    EXPECT_NE(Queue_spsc<int>::create(1), nullptr);
}

TEST(Queue_spsc_test, keeps_the_newest_when_it_overflows_and_counts_what_went)
{
    const auto ring = Queue_spsc<int>::create(128);
    for (int item = 1; item <= 300; ++item) {
        EXPECT_TRUE(ring->push(item, false));
        EXPECT_EQ(ring->full(), item >= 128);
    }
    EXPECT_FALSE(ring->push(301, true)) << "nothing may give way";
    EXPECT_EQ(ring->overflow_count(), 172U);
    int item = 0;
    for (int expected = 173; expected <= 300; ++expected) {
        ASSERT_TRUE(ring->pop(item));
        EXPECT_EQ(item, expected);
        EXPECT_FALSE(ring->full());
    }
    EXPECT_TRUE(ring->empty());
    EXPECT_FALSE(ring->pop(item));
}

/// An element of two parts, one of them on the heap, that must always belong together.
using Pair = std::pair<std::uint32_t, Byte_array>;

Pair pair_of(std::uint32_t number)
{
    return {number, Byte_array(std::vector<std::uint8_t>(12, static_cast<std::uint8_t>(number)))};
}

/// The consumer reads as fast as it can while a producer overruns a small ring.
TEST(Queue_spsc_test, hands_out_whole_elements_in_order_while_the_producer_overwrites)
{
    constexpr std::uint32_t total = 200'000;
    const auto ring = Queue_spsc<Pair>::create(4);
    std::atomic<bool> finished{false};
    std::thread producer([&] {
        for (std::uint32_t number = 1; number <= total; ++number) {
            ring->push(pair_of(number), false);
        }
        finished = true;
    });

    std::uint32_t received = 0;
    std::uint32_t last = 0;
    std::uint32_t faults = 0;
    Pair pair;
    for (bool ended = false; !ended;) {
        ended = finished; // tested first: what came before the end is still taken
        while (ring->pop(pair)) {
            faults += pair.first > last && pair == pair_of(pair.first) ? 0U : 1U;
            last = pair.first;
            ++received;
        }
    }
    producer.join();
    EXPECT_EQ(faults, 0U);
    EXPECT_EQ(last, total);
    EXPECT_EQ(received + ring->overflow_count(), total);
    EXPECT_TRUE(ring->empty());
}

} // namespace
} // namespace qv
