// The router as a program, with clients on real sockets.

#include <chrono>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bench/harness/bench.h"
#include "bench/harness/raw_connection.h"
#include "bench/wire/record.h"

namespace bench {
namespace {

using namespace std::chrono_literals;

Record frame(std::uint32_t identifier, std::uint8_t first = 0)
{
    return {.identifier = identifier, .length = 8, .data = {first, 1, 2, 3, 4, 5, 6, 7}};
}

class Peer : public harness::Raw_connection {
public:
    explicit Peer(std::uint16_t port)
        : Raw_connection(port, 65536) // a peer that does not read fills up soon
    {}

    void send(const std::vector<Record>& records) const
    {
        std::vector<std::uint8_t> bytes;
        for (const auto& record : records) {
            const auto encoded = encode(record);
            bytes.insert(bytes.end(), encoded.begin(), encoded.end());
        }
        send_bytes(bytes);
    }
    void send_bytes(std::span<const std::uint8_t> bytes) const
    {
        EXPECT_TRUE(Raw_connection::send({reinterpret_cast<const char*>(bytes.data()), bytes.size()}));
    }
    /// So many records, or fewer when they take longer than 10 s or the router ends the connection.
    std::vector<Record> receive(std::size_t count) const
    {
        const auto bytes = Raw_connection::receive(count * record_size, 10s);
        const std::span received(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        std::vector<Record> records;
        for (std::size_t used = 0; used + record_size <= received.size(); used += record_size) {
            records.push_back(decode(received.subspan(used)).value());
        }
        return records;
    }
};

using Records = std::vector<Record>;

class Router_test : public testing::Test {
protected:
    /// A new client, which the router serves: those that were there before it have its greeting.
    std::unique_ptr<Peer> join(const std::vector<const Peer*>& others = {})
    {
        auto peer = std::make_unique<Peer>(bench_.port());
        peer->send({frame(0x18EEFF00)});
        for (const auto* other : others) {
            EXPECT_EQ(other->receive(1), Records{frame(0x18EEFF00)});
        }
        return peer;
    }
    std::ptrdiff_t descriptors()
    {
        using Directory = std::filesystem::directory_iterator;
        return std::distance(Directory("/proc/" + std::to_string(bench_.router().id()) + "/fd"), Directory());
    }

    harness::Bench bench_;
};

TEST_F(Router_test, a_record_goes_to_every_other_client_and_never_back)
{
    bench_.start_router();
    const auto a = join();
    const auto b = join({a.get()});
    const auto c = join({a.get(), b.get()});
    const Record of_a = frame(0x18EA0080);
    const Record of_b{.identifier = 0x123, .remote = true, .extended = false, .length = 2};
    const Record of_c{.identifier = 0x1FFFFFFF, .error = true};
    a->send({of_a});
    EXPECT_EQ(b->receive(1), Records{of_a});
    EXPECT_EQ(c->receive(1), Records{of_a});
    b->send({of_b});
    EXPECT_EQ(c->receive(1), Records{of_b});
    c->send({of_c});
    EXPECT_EQ(a->receive(2), (Records{of_b, of_c})); // its own would stand before them
    EXPECT_EQ(b->receive(1), Records{of_c});

    auto bytes = encode(frame(1));
    a->send_bytes(std::span(bytes).first(5));
    c->send({frame(2)});
    EXPECT_EQ(b->receive(1), Records{frame(2)}); // half a record holds up nobody
    a->send_bytes(std::span(bytes).subspan(5));
    bytes[4] = 9; // a length that no frame has; the stream stays in step
    a->send_bytes(bytes);
    a->send({frame(3)});
    EXPECT_EQ(b->receive(2), (Records{frame(1), frame(3)}));
}

TEST_F(Router_test, clients_come_and_go_in_every_manner_and_leave_nothing_behind)
{
    bench_.start_router();
    const auto a = join();
    const auto b = join({a.get()});
    const auto before = descriptors();
    for (int round = 0; round < 20; ++round) {
        const auto guest = join({a.get(), b.get()});
        const auto bytes = encode(frame(4));
        guest->send_bytes(std::span(bytes).first(5)); // its rest never comes
        a->send({frame(5)});
        EXPECT_EQ(b->receive(1), Records{frame(5)});
        EXPECT_EQ(guest->receive(1), Records{frame(5)}); // with nothing unread its farewell is an orderly one
        if (round % 2 == 0) {
            guest->break_off();
        }
    }
    b->send({frame(6)});
    EXPECT_EQ(a->receive(1), Records{frame(6)});
    for (int pause = 0; descriptors() != before && pause < 1000; ++pause) {
        ::usleep(10'000);
    }
    EXPECT_EQ(descriptors(), before);
}

TEST_F(Router_test, a_slow_client_loses_its_own_connection_and_holds_up_nobody)
{
    constexpr std::size_t limit = 1U << 20; // bytes that may wait for a client
    constexpr std::size_t batch = 4096;     // records, 52 KiB
    bench_.start_router();
    const auto fast = join();
    const auto late = join({fast.get()});
    const auto slow = join({fast.get(), late.get()});
    const auto all = descriptors();
    std::size_t sent = 0;
    const auto send_batch = [&] {
        for (std::size_t part = 0; part < batch; part += 256) {
            const Records records(256, frame(7, static_cast<std::uint8_t>(part / 256)));
            fast->send(records);
            ASSERT_EQ(late->receive(records.size()), records) << sent;
            sent += records.size();
        }
    };
    while (sent * record_size < limit - batch * record_size) {
        ASSERT_NO_FATAL_FAILURE(send_batch());
    }
    const auto unread = slow->receive(sent);
    ASSERT_EQ(unread.size(), sent);
    EXPECT_EQ(unread.back(), frame(7, 15));
    EXPECT_EQ(descriptors(), all);

    const auto taken = sent;
    while (descriptors() == all && sent * record_size < (32U << 20)) {
        ASSERT_NO_FATAL_FAILURE(send_batch());
    }
    EXPECT_EQ(descriptors(), all - 1);
    const auto lost = sent - taken - slow->receive(sent - taken).size(); // what waited for it, and came since
    EXPECT_GT(lost * record_size, limit);
    EXPECT_LE(lost * record_size, limit + 2 * batch * record_size);
    fast->send({frame(8)});
    EXPECT_EQ(late->receive(1), Records{frame(8)});
}

TEST_F(Router_test, with_a_bit_rate_a_frame_of_higher_priority_goes_before_those_that_wait)
{
    bench_.start_router({"--bitrate", "1000"}); // 0.15 s a frame
    const auto a = join();
    const auto b = join({a.get()});
    const auto c = join({a.get(), b.get()});
    a->send({frame(0x18EA0080), frame(0x18EA0080), frame(0x18EA0080), frame(0x18EA0080)});
    EXPECT_EQ(c->receive(1), Records{frame(0x18EA0080)});
    b->send({frame(0x0CF00401)});
    auto rest = c->receive(4);
    EXPECT_EQ(std::count(rest.begin(), rest.end(), frame(0x0CF00401)), 1);
    EXPECT_EQ(rest.back(), frame(0x18EA0080));
    EXPECT_EQ(a->receive(1), Records{frame(0x0CF00401)});
}

} // namespace
} // namespace bench
