#include "can/hardware/bus_router.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <functional>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "can/hardware/frame.h"
#include "comm/master.h"
#include "comm/shutdown_message.h"
#include "comm/time_message.h"
#include "framework/byte_text.h"

namespace qv::can_bus::hardware::device::router {
namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;
using Record = frame::Frame::Record;

const Record claim_request{0xFE, 0xFF, 0xEA, 0x98, 3, 0x00, 0xEE, 0x00};

/// A record of an extended frame whose data tell its number.
Record numbered(std::uint32_t number)
{
    return {0x80, 0xFF, 0xEF, 0x98, 4, static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8)};
}

/// The router's end: one listening socket and the latest connection.
class Router_end {
public:
    Router_end()
    {
        listening_ = ::socket(AF_INET, SOCK_STREAM, 0);
        const int size = 4096;
        ::setsockopt(listening_, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        EXPECT_EQ(::bind(listening_, reinterpret_cast<sockaddr*>(&address), length), 0);
        EXPECT_EQ(::listen(listening_, 3), 0);
        ::getsockname(listening_, reinterpret_cast<sockaddr*>(&address), &length);
        port = ntohs(address.sin_port);
    }
    ~Router_end()
    {
        hang_up();
        ::close(listening_);
    }

    bool is_called() const
    {
        pollfd wanted{listening_, POLLIN, 0};
        return ::poll(&wanted, 1, 0) > 0;
    }
    void accept()
    {
        hang_up();
        connection_ = ::accept(listening_, nullptr, nullptr);
    }
    void hang_up()
    {
        if (connection_ >= 0) {
            ::close(connection_);
        }
        connection_ = -1;
    }
    /// Lets the client, which is in this process, meet a full buffer soon.
    void shrink_buffer_of_client() const
    {
        for (int descriptor = 0; descriptor < 256; ++descriptor) {
            sockaddr_in peer{};
            socklen_t length = sizeof peer;
            const int size = 4096;
            if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &length) == 0 &&
                peer.sin_port == htons(port)) {
                ::setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
            }
        }
    }
    template <class Range> void send(const Range& bytes, std::size_t first = 0, std::size_t count = SIZE_MAX)
    {
        count = std::min(count, bytes.size() - first);
        EXPECT_EQ(::send(connection_, bytes.data() + first, count, MSG_NOSIGNAL), static_cast<ssize_t>(count));
    }
    /// What has come until now, up to `limit` bytes.
    Bytes receive(std::size_t limit)
    {
        Bytes bytes(limit);
        const ssize_t count = ::recv(connection_, bytes.data(), limit, MSG_DONTWAIT);
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return bytes;
    }

    std::uint16_t port;

private:
    int listening_ = -1;
    int connection_ = -1;
};

/// A core whose time the test moves, and a client beside a router's end.
class Bus_router_test : public testing::Test {
protected:
    Bus_router_test() { EXPECT_TRUE(comm::core_start(0)); }
    ~Bus_router_test() override
    {
        stop();
        bus.close();
        comm::master_stop();
    }

    static void tick()
    {
        comm::primary_dispatcher()->post(std::make_unique<comm::message::time_elapsed::Milliseconds_500>());
        comm::primary_dispatcher()->process_queue();
    }
    static bool is_running(const char* thread)
    {
        return comm::find_dispatcher_by_name(std::string("CAN bus router client ") + thread) != nullptr;
    }
    static void wait_for_transmitter()
    {
        const auto transmitter = comm::find_dispatcher_by_name("CAN bus router client transmitter");
        EXPECT_TRUE(await([&] { return !transmitter->has_queued(); }));
    }
    static void stop()
    {
        EXPECT_TRUE(await([] {
            comm::primary_dispatcher()->post(std::make_unique<comm::message::shutdown::Application>());
            comm::primary_dispatcher()->process_queue();
            return !is_running("receiver") && !is_running("transmitter");
        }));
    }
    static bool await(const std::function<bool()>& condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(1ms);
        }
        return true;
    }

    void call()
    {
        ASSERT_TRUE(bus.open());
        ASSERT_TRUE(await([this] {
            tick();
            return router.is_called() && is_running("transmitter");
        }));
        router.accept();
    }
    /// Lets the client connect, and takes the request for all claims that this sends both ways. The router does
    /// not see it when the connection takes its time.
    void connect()
    {
        call();
        EXPECT_EQ(read(1), claim_request_seen);
        router.send(numbered(0));
        EXPECT_EQ(read(1).size(), 1U); // the connection stands
        bus.write(0x18EF0081, nullptr, 0, 0);
        Bytes record = received_by_router(13);
        if (record == Bytes(claim_request.begin(), claim_request.end())) {
            record = received_by_router(13);
        }
        EXPECT_EQ(record, (Bytes{0x81, 0x00, 0xEF, 0x98, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    }
    /// The next frames as text, once all are there.
    std::vector<std::string> read(std::size_t count)
    {
        std::vector<std::string> frames;
        EXPECT_TRUE(await([&] {
            bus.on_time_elapsed(3);
            Message message;
            while (frames.size() < count && bus.receive(message)) {
                frames.push_back(text(message));
            }
            return frames.size() == count;
        }));
        return frames;
    }
    static std::string text(const Message& message)
    {
        std::array<char, 16> identifier;
        std::snprintf(identifier.data(), identifier.size(), "%08X", message.identifier);
        return identifier.data() + to_hex_text(message.data, all_bytes, {.uppercase = true, .spaced = true});
    }
    Bytes received_by_router(std::size_t count)
    {
        Bytes all;
        EXPECT_TRUE(await([&] {
            bus.on_time_elapsed(3);
            const Bytes more = router.receive(count - all.size());
            all.insert(all.end(), more.begin(), more.end());
            return all.size() == count;
        }));
        return all;
    }

    const std::vector<std::string> claim_request_seen{"18EAFFFE 00 EE 00"};
    Router_end router;
    Bus_router bus{htonl(INADDR_LOOPBACK), router.port, false, false};
};

TEST_F(Bus_router_test, understands_a_stream_however_it_is_cut)
{
    connect();
    const std::vector<Record> records{
        {0x80, 0xFF, 0xEE, 0x98, 8, 1, 2, 3, 4, 5, 6, 7, 8},
        {0x80, 0xFF, 0xEE, 0x18, 1, 1},       // a standard frame
        {0x80, 0xFF, 0xEE, 0xD8, 1, 2},       // a remote frame
        {0x80, 0xFF, 0xEE, 0xB8, 1, 3},       // an error frame
        {0x80, 0xFF, 0xEE, 0x98, 0xFF, 4, 4}, // more data than a frame has
        {0x81, 0x23, 0xEA, 0x98, 0, 5},       // no data; the byte has no meaning
    };
    Bytes stream;
    for (const Record& record : records) {
        stream.insert(stream.end(), record.begin(), record.end());
    }
    for (std::size_t piece = 1; piece <= stream.size(); ++piece) {
        for (std::size_t sent = 0; sent < stream.size(); sent += piece) {
            router.send(stream, sent, piece);
        }
        EXPECT_EQ(read(2), (std::vector<std::string>{"18EEFF80 01 02 03 04 05 06 07 08", "18EA2381"})) << piece;
    }
    EXPECT_FALSE(bus.has_frame());
}

TEST_F(Bus_router_test, begins_anew_with_a_whole_record_after_each_loss_of_the_connection)
{
    connect();
    for (std::size_t cut = 1; cut < Record().size(); cut += 3) {
        router.send(numbered(1), 0, cut);
        router.hang_up();
        EXPECT_EQ(read(1), claim_request_seen); // the loss
        wait_for_transmitter();
        connect();
        router.send(numbered(2));
        EXPECT_EQ(read(1), std::vector<std::string>{"18EFFF80 02 00 00 00"});
    }
}

TEST_F(Bus_router_test, sends_what_it_is_given_and_loses_it_without_a_router)
{
    const Bytes data{0xA1, 0xA2, 0xA3};
    EXPECT_FALSE(bus.transmit(0x18EF2380, data.data(), 3, 0x23)); // not open yet
    ASSERT_TRUE(bus.open());
    ASSERT_TRUE(await([] { return is_running("transmitter"); }));
    EXPECT_TRUE(bus.transmit(0x18EF2380, data.data(), 3, 0x23)); // lost
    wait_for_transmitter();
    connect();
    EXPECT_TRUE(bus.transmit(0x18EF2380, data.data(), 3, 0x23));
    EXPECT_EQ(received_by_router(13), (Bytes{0x80, 0x23, 0xEF, 0x98, 3, 0xA1, 0xA2, 0xA3, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(bus.transmit(0x18EF2381, nullptr, 0, 0x23));
    EXPECT_EQ(received_by_router(13), (Bytes{0x81, 0x23, 0xEF, 0x98, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_FALSE(bus.transmit(0x18EF2380, nullptr, 1, 0x23));
    EXPECT_FALSE(bus.transmit(0x18EF2380, data.data(), 9, 0x23));
    EXPECT_EQ(bus.counters().transmitted, 6U);
    EXPECT_EQ(bus.counters().transmit_failures, 3U);
}

TEST_F(Bus_router_test, holds_the_router_up_while_the_bus_thread_stalls_and_loses_nothing)
{
    constexpr std::uint32_t count = 20000;
    connect();
    std::thread flood([this] {
        for (std::uint32_t number = 0; number < count; ++number) {
            router.send(numbered(number));
        }
    });
    std::this_thread::sleep_for(100ms);
    Message message;
    bus.on_time_elapsed(3);
    std::uint32_t waiting = 0;
    std::uint32_t number = 0;
    const auto expect_next = [&] {
        const Record expected = numbered(number);
        EXPECT_EQ(message.data, Byte_array(std::span(expected).subspan(5, 4)));
        ++number;
    };
    for (; bus.receive(message); ++waiting) {
        expect_next();
    }
    EXPECT_LE(waiting, 4096U + 1024U / 13);
    EXPECT_TRUE(await([&] {
        bus.on_time_elapsed(3);
        while (bus.receive(message)) {
            expect_next();
        }
        return number == count;
    }));
    flood.join();
}

TEST_F(Bus_router_test, gives_a_connection_up_rather_than_send_half_a_record)
{
    connect();
    router.shrink_buffer_of_client();
    const Bytes data{1, 2, 3, 4, 5, 6, 7, 8};
    const auto is_given_up = [this] {
        Message message;
        return bus.receive(message); // the request that follows each change of the connection
    };
    while (!is_given_up()) {
        bus.transmit(0x18EF2380, data.data(), 8, 0x23); // nobody reads them
    }
    call();
    bus.transmit(0x18EF2381, data.data(), 8, 0x23);
    Bytes record{0};
    while (record[0] != 0x81) { // some that came too late for the first connection may stand before it
        record = received_by_router(13);
        ASSERT_EQ(record.size(), 13U);
        EXPECT_EQ(record[3], 0x98);
    }
    EXPECT_EQ(record, (Bytes{0x81, 0x23, 0xEF, 0x98, 8, 1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(Bus_router_test, lets_its_threads_end_at_once_with_and_without_a_connection)
{
    for (const bool connected : {false, true}) {
        auto fastest = std::chrono::steady_clock::duration::max();
        for (int round = 0; round < 5; ++round) { // the machine may be busy
            ASSERT_TRUE(bus.open());
            if (connected) {
                connect();
            }
            ASSERT_TRUE(await([] { return is_running("receiver") && is_running("transmitter"); }));
            const auto start = std::chrono::steady_clock::now();
            stop();
            fastest = std::min(fastest, std::chrono::steady_clock::now() - start);
            bus.close();
        }
        EXPECT_LT(fastest, 200ms); // less than the wait for the socket
    }
}

TEST_F(Bus_router_test, does_not_open_while_its_name_is_in_use)
{
    const auto other = comm::create_dispatcher("CAN bus router client", false);
    EXPECT_FALSE(bus.open());
    EXPECT_FALSE(bus.is_open());
    comm::remove_dispatcher(other);
}

TEST(Bus_router_alone, runs_a_core_of_its_own_and_takes_it_down_again)
{
    const std::uint32_t before = comm::dispatcher::Dispatcher::instance_count_current();
    Router_end router;
    Bus_router bus(htonl(INADDR_LOOPBACK), router.port, false, false);
    ASSERT_TRUE(bus.open());
    Message message;
    for (int pass = 0; pass < 2000 && !bus.receive(message); ++pass) { // it connects after 500 ms
        std::this_thread::sleep_for(3ms);
        bus.on_time_elapsed(3);
    }
    EXPECT_EQ(message.identifier, 0x18EAFFFEU);
    bus.close();
    EXPECT_FALSE(comm::primary_dispatcher());
    EXPECT_EQ(comm::dispatcher::Dispatcher::instance_count_current(), before);
}

} // namespace
} // namespace qv::can_bus::hardware::device::router
