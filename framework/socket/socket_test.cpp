#include "framework/socket/socket.h"

#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "framework/socket/address.h"

namespace qv::socket {
namespace {

using namespace std::chrono_literals;

/// A listening socket on the loopback interface and a connection to it.
class Socket_test : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server_.listen_on(loopback_address(), AF_INET, 0, true, true) && connect());
    }

    bool connect()
    {
        return client_.open(loopback_address(), AF_INET, server_.port(), false, false, true) &&
               server_.accept(peer_);
    }

    /// What comes within a second: a text, or "closed".
    static std::string receive(Socket& socket)
    {
        static_cast<void>(socket.wait_readable(1000));
        std::array<std::uint8_t, 64> buffer{};
        std::size_t size = buffer.size();
        return socket.read(buffer.data(), size) ? std::string(buffer.begin(), buffer.begin() + size) : "closed";
    }

    Socket server_{false, "server"};
    Socket client_{false, "client"};
    Socket peer_{false, "peer"};
    std::vector<std::uint8_t> much_ = std::vector<std::uint8_t>(16 << 20);
};

TEST_F(Socket_test, a_read_tells_nothing_yet_from_the_end)
{
    std::size_t size = 1;
    EXPECT_TRUE(client_.read(much_.data(), size));
    EXPECT_EQ(size, 0U);
    EXPECT_TRUE(client_.write(much_.data(), 0));
    EXPECT_FALSE(peer_.wait_readable(20)) << "nothing was sent";
    std::size_t written = 0;
    EXPECT_FALSE(client_.write(much_.data(), much_.size(), written)) << "a socket that does not block is full";
    EXPECT_TRUE(written > 0 && written < much_.size());
    peer_.close();
    EXPECT_EQ(receive(client_), "closed");
    EXPECT_TRUE(client_.is_open()) << "until its owner closes it";
    client_.close();
    EXPECT_EQ(receive(client_), "closed");
    EXPECT_FALSE(client_.write(much_.data(), 1, written));
    EXPECT_EQ(written, 0U);
}

TEST_F(Socket_test, a_refused_connection_shows_at_the_first_read)
{
    const std::uint16_t port = server_.port();
    EXPECT_FALSE(is_port_free(port));
    server_.close();
    if (client_.open(loopback_address(), AF_INET, port, false, false, true)) {
        EXPECT_EQ(receive(client_), "closed");
    }
    EXPECT_FALSE(client_.open(loopback_address(), AF_INET, port, true, true, true));
    EXPECT_FALSE(client_.is_open());
}

TEST_F(Socket_test, close_ends_the_waits_of_other_threads)
{
    std::uint8_t byte = 0;
    std::size_t size = 1;
    auto reader = std::async(std::launch::async, [&] { return peer_.read(&byte, size); });
    auto writer = std::async(std::launch::async, [&] { return peer_.write(much_.data(), much_.size()); });
    EXPECT_EQ(reader.wait_for(50ms), std::future_status::timeout);
    EXPECT_EQ(writer.wait_for(50ms), std::future_status::timeout) << "nobody reads what it writes";
    peer_.close();
    EXPECT_FALSE(reader.get() || writer.get());
}

std::ptrdiff_t open_descriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// A writer that goes on through many reconnections while other files take the freed descriptors.
TEST_F(Socket_test, a_writer_never_meets_a_descriptor_that_was_given_out_anew)
{
    const auto before = open_descriptors();
    std::atomic<bool> running{true};
    std::thread writer([&] {
        while (running) {
            static_cast<void>(client_.write(much_.data(), 5));
        }
    });
    for (int round = 0; round < 100; ++round) {
        client_.close();
        std::array<int, 2> pipe{};
        ASSERT_EQ(::pipe(pipe.data()), 0); // likely takes the number of the socket
        std::this_thread::yield();
        ::close(pipe[1]);
        std::array<char, 16> stray{};
        EXPECT_EQ(::read(pipe[0], stray.data(), stray.size()), 0);
        ::close(pipe[0]);
        ASSERT_TRUE(connect());
    }
    running = false;
    writer.join();
    EXPECT_EQ(open_descriptors(), before);
}

TEST(Address_test, hosts_are_resolved_and_written)
{
    Address address = 0;
    EXPECT_TRUE(resolve("127.0.0.1", address));
    EXPECT_EQ(address, loopback_address());
    EXPECT_EQ(address_text(0xFF030201), "1.2.3.255");
    EXPECT_EQ(numeric_host("10.1.2.3"), "10.1.2.3");
    EXPECT_EQ(numeric_host("no host at all"), "no host at all");
}

} // namespace
} // namespace qv::socket
