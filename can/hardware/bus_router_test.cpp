#include "can/hardware/bus_router.h"

#include "can/hardware/frame_message.h"
#include "can/hardware/router_receiver.h"
#include "can/hardware/test_kit.h"

namespace qv::can_bus::hardware::device::router {
namespace {

using namespace test;

const Texts claim_request_seen{"18EAFFFE 00 EE 00"};

/// A record of an extended frame whose data tell its number.
Bytes numbered(unsigned number)
{
    const auto low = static_cast<std::uint8_t>(number);
    return {0x80, 0xFF, 0xEF, 0x98, 2, low, static_cast<std::uint8_t>(number >> 8), 0, 0, 0, 0, 0, 0};
}

/// The request that comes with each attempt to connect.
bool has_frame(Bus_router& client)
{
    return await([&] {
        client.on_time_elapsed(3);
        return client.has_frame();
    });
}

/// A core whose time the test moves, and a client with a router.
class Bus_router_test : public testing::Test {
protected:
    ~Bus_router_test() override
    {
        EXPECT_TRUE(stop_client());
        bus.close();
        comm::master_stop();
    }

    /// Lets the client connect, and takes the request for all claims that this sends both ways. The router does
    /// not see it when the connection takes its time, and sees that of the loss before when the transmitter does.
    void connect()
    {
        ASSERT_TRUE(bus.open() && router.accept());
        EXPECT_EQ(read(1), claim_request_seen);
        router.send(numbered(0));
        EXPECT_EQ(read(1), Texts{"18EFFF80 00 00"}); // the connection stands
        EXPECT_TRUE(bus.transmit(0x18EF0081, nullptr, 0, 0));
        EXPECT_EQ(router.receive_record(), (Bytes{0x81, 0x00, 0xEF, 0x98, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    }
    /// The next frames as text, once all are there.
    Texts read(std::size_t count)
    {
        Texts frames;
        EXPECT_TRUE(await([&] {
            bus.on_time_elapsed(3);
            for (Message message; frames.size() < count && bus.receive(message);) {
                frames.push_back(text_of(message));
            }
            return frames.size() == count;
        }));
        return frames;
    }

    const bool started = comm::core_start(0);
    test::Router router;
    Bus_router bus{socket::loopback_address(), router.port(), false, false};
};

TEST_F(Bus_router_test, understands_a_stream_however_it_is_cut)
{
    // clang-format off
    const Bytes stream{
        0x80, 0xFF, 0xEE, 0x98, 8,    1, 2, 3, 4, 5, 6, 7, 8,
        0x80, 0xFF, 0xEE, 0x18, 1,    1, 0, 0, 0, 0, 0, 0, 0,  // a standard frame
        0x80, 0xFF, 0xEE, 0xD8, 1,    2, 0, 0, 0, 0, 0, 0, 0,  // a remote frame
        0x80, 0xFF, 0xEE, 0xB8, 1,    3, 0, 0, 0, 0, 0, 0, 0,  // an error frame
        0x80, 0xFF, 0xEE, 0x98, 9,    4, 0, 0, 0, 0, 0, 0, 0,  // more data than a frame has
        0x81, 0x23, 0xEA, 0x98, 0,    5, 0, 0, 0, 0, 0, 0, 0}; // no data; the byte has no meaning
    // clang-format on
    connect();
    for (std::size_t piece = 1; piece <= stream.size(); ++piece) {
        for (std::size_t sent = 0; sent < stream.size(); sent += piece) {
            const auto first = stream.begin() + static_cast<std::ptrdiff_t>(sent);
            router.send(Bytes(first, first + static_cast<std::ptrdiff_t>(std::min(piece, stream.size() - sent))));
        }
        EXPECT_EQ(read(2), (Texts{"18EEFF80 01 02 03 04 05 06 07 08", "18EA2381"})) << piece;
    }
    EXPECT_FALSE(bus.has_frame());
}

TEST_F(Bus_router_test, begins_anew_with_a_whole_record_after_each_loss_of_the_connection)
{
    connect();
    for (std::size_t cut = 1; cut < 13; cut += 3) {
        Bytes half = numbered(1);
        half.resize(cut);
        router.send(half);
        router.hang_up();
        EXPECT_EQ(read(1), claim_request_seen);               // the loss
        EXPECT_TRUE(bus.transmit(0x18EF2380, nullptr, 0, 0)); // lost as well
        EXPECT_TRUE(await([] { return !client_thread("transmitter")->has_queued(); }));
        connect();
    }
    EXPECT_EQ(bus.counters().transmit_failures, 0U);
}

TEST_F(Bus_router_test, holds_the_router_up_while_the_bus_thread_stalls_and_loses_nothing)
{
    constexpr unsigned count = 20000;
    connect();
    std::thread flood([this] {
        for (unsigned number = 0; number < count; ++number) {
            router.send(numbered(number));
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::size_t longest_pass = 0;
    unsigned number = 0;
    EXPECT_TRUE(await([&] {
        bus.on_time_elapsed(3);
        const unsigned before = number;
        for (Message message; bus.receive(message); ++number) {
            EXPECT_EQ(message.data[0] + 256U * message.data[1], number);
        }
        longest_pass = std::max<std::size_t>(longest_pass, number - before);
        return number == count;
    }));
    EXPECT_LE(longest_pass, 4096U + 1024U / 13);
    flood.join();
}

/// A full buffer takes nothing or a part of a record, as its size and the kernel will have it.
TEST_F(Bus_router_test, gives_a_connection_up_only_when_half_a_record_went_out)
{
    for (const int size : {4096, 16384, 20480}) {
        connect();
        router.shrink_buffer_of_client(size);
        constexpr unsigned count = 20000;
        for (unsigned frame = 0; frame < count; ++frame) {
            bus.transmit(0x18EF2380, nullptr, 0, 0x23); // nobody reads them
        }
        ASSERT_TRUE(await([] { return !client_thread("transmitter")->has_queued(); }));
        bool ended = false;
        const auto received = router.receive_rest(ended).size();
        EXPECT_LT(received, 13 * count) << "nothing was lost";
        EXPECT_EQ(ended, received % 13 != 0) << size;
        router.hang_up();
        EXPECT_EQ(read(1), claim_request_seen);
    }
}

TEST_F(Bus_router_test, connects_without_a_tick_and_ends_at_once_also_without_a_router)
{
    const std::uint16_t absent = test::Router().port();
    for (const bool connected : {false, true}) {
        auto fastest = std::chrono::steady_clock::duration::max();
        for (int round = 0; round < 5; ++round) { // the machine may be busy
            Bus_router client(socket::loopback_address(), connected ? router.port() : absent, false, false);
            ASSERT_TRUE(client.open());
            ASSERT_NE(client_thread("transmitter"), nullptr); // nothing is lost that is sent from now on
            ASSERT_TRUE(has_frame(client) && (!connected || router.accept()));
            const auto start = std::chrono::steady_clock::now();
            EXPECT_TRUE(stop_client());
            fastest = std::min(fastest, std::chrono::steady_clock::now() - start);
        }
        EXPECT_LT(fastest, std::chrono::milliseconds(200)); // less than the wait for the socket
    }
}

TEST(Bus_router_alone, runs_a_core_of_its_own_and_takes_it_down_again)
{
    const test::Router router;
    Bus_router bus(socket::loopback_address(), router.port(), false, false);
    EXPECT_TRUE(bus.open() && has_frame(bus));
    bus.close();
    EXPECT_FALSE(bus.is_open() || comm::primary_dispatcher());
    EXPECT_EQ(comm::dispatcher::Dispatcher::instance_count_current(), 0U);
}

TEST(Bus_router_alone, has_the_core_wait_for_threads_that_begin_late)
{
    ASSERT_TRUE(comm::core_start(0) && comm::handlers_start("", comm::flag::thread_handle));
    test::delay_bus_threads();
    const test::Router router;
    Bus_router bus(socket::loopback_address(), router.port(), false, false);
    ASSERT_TRUE(bus.open());
    comm::master_stop();
    EXPECT_EQ(test::late_threads, 2);
}

/// The transmitter may close the connection at any moment, and the next tick may come before the receiver looks.
TEST(Receiver_test, tells_of_a_loss_before_it_connects_again)
{
    using comm::message::time_elapsed::Milliseconds_500;
    ASSERT_TRUE(comm::core_start(0));
    const test::Router router;
    const auto client = comm::create_dispatcher("client", false);
    const auto connection = std::make_shared<socket::Socket>(false, "");
    const auto pending = std::make_shared<std::atomic<std::uint32_t>>(4096); // keeps the receiver off the socket
    using namespace can_bus::router::client;
    std::thread thread(&receiver::Receiver::thread_static,
                       std::make_unique<thread_arguments::Thread_arguments>(thread_arguments::Thread_arguments{
                           client->id(), socket::loopback_address(), router.port(), false,
                           "CAN bus router client receiver", connection, pending, nullptr}));
    const auto tells = [&] { return client->take(frame::message::Received::id) != nullptr; };
    EXPECT_TRUE(await(tells));
    const auto receiver = client_thread("receiver");
    for (int round = 0; round < 3; ++round) {
        connection->close();
        receiver->post(std::make_unique<Milliseconds_500>());
        EXPECT_TRUE(await(tells)) << "of the loss";
        receiver->post(std::make_unique<Milliseconds_500>());
        EXPECT_TRUE(await(tells)) << "of the new one";
    }
    announce<comm::message::shutdown::Application>();
    thread.join();
    comm::master_stop();
}

} // namespace
} // namespace qv::can_bus::hardware::device::router
