#include "framework/socket/socket.h"

#include <array>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
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
        ASSERT_TRUE(server_.listen_on(loopback_address(), AF_INET, 0, true, true));
        ASSERT_TRUE(connect(client_));
        ASSERT_TRUE(server_.accept(peer_));
    }

    bool connect(Socket& socket)
    {
        return socket.open(loopback_address(), AF_INET, server_.port(), false, false, true);
    }

    static bool send(Socket& socket, const std::string& text)
    {
        return socket.write(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
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
};

TEST_F(Socket_test, a_read_tells_nothing_yet_from_the_end)
{
    std::uint8_t byte = 0;
    std::size_t size = 1;
    EXPECT_FALSE(client_.wait_readable(0));
    EXPECT_TRUE(client_.read(&byte, size));
    EXPECT_EQ(size, 0U);
    EXPECT_TRUE(client_.write(&byte, 0));
    EXPECT_FALSE(peer_.wait_readable(20)) << "nothing was sent";
    peer_.close();
    EXPECT_EQ(receive(client_), "closed");
    EXPECT_TRUE(client_.is_open()) << "until its owner closes it";
    client_.close();
    size = 1;
    EXPECT_FALSE(client_.read(&byte, size));
    EXPECT_EQ(size, 0U);
    EXPECT_FALSE(client_.write(&byte, 1));
    EXPECT_FALSE(client_.wait_readable(0));
    EXPECT_FALSE(client_.set_blocking(true));
}

TEST_F(Socket_test, a_refused_connection_shows_at_the_first_read)
{
    const std::uint16_t port = server_.port();
    server_.close();
    Socket refused(false, "refused");
    if (refused.open(loopback_address(), AF_INET, port, false, false, true)) {
        EXPECT_EQ(receive(refused), "closed");
    }
    EXPECT_FALSE(refused.open(loopback_address(), AF_INET, port, true, true, true));
    EXPECT_FALSE(refused.is_open());
    EXPECT_FALSE(can_connect(loopback_address(), port));
}

TEST_F(Socket_test, close_ends_the_waits_of_other_threads)
{
    ASSERT_TRUE(client_.set_blocking(true));
    std::thread reader([&] {
        std::uint8_t byte = 0;
        std::size_t size = 1;
        EXPECT_FALSE(client_.read(&byte, size));
    });
    std::thread writer([&] {
        const std::vector<std::uint8_t> much(16 << 20);
        EXPECT_FALSE(peer_.set_blocking(true) && peer_.write(much.data(), much.size()));
    });
    std::this_thread::sleep_for(50ms);
    peer_.close();
    writer.join();
    client_.close();
    reader.join();
}

std::size_t open_descriptors()
{
    std::size_t count = 0;
    DIR* const directory = ::opendir("/proc/self/fd");
    while (::readdir(directory) != nullptr) {
        ++count;
    }
    ::closedir(directory);
    return count;
}

/// A writer that goes on through many reconnections while other files take the freed descriptors.
TEST_F(Socket_test, a_writer_never_meets_a_descriptor_that_was_given_out_anew)
{
    const std::size_t before = open_descriptors();
    std::atomic<bool> running{true};
    std::thread writer([&] {
        while (running) {
            static_cast<void>(client_.is_open() && send(client_, "frame"));
        }
    });
    std::string stray;
    for (int round = 0; round < 100; ++round) {
        client_.close();
        std::array<int, 2> pipe{};
        ASSERT_EQ(::pipe(pipe.data()), 0); // likely takes the number of the socket
        std::this_thread::yield();
        ::close(pipe[1]);
        std::array<char, 16> buffer{};
        stray.append(buffer.data(), static_cast<std::size_t>(::read(pipe[0], buffer.data(), buffer.size())));
        ::close(pipe[0]);
        ASSERT_TRUE(connect(client_) && server_.accept(peer_));
    }
    running = false;
    writer.join();
    EXPECT_EQ(stray, "");
    EXPECT_EQ(open_descriptors(), before);
}

TEST(Address_test, hosts_are_resolved_and_written)
{
    Address address = 0;
    EXPECT_TRUE(resolve("127.0.0.1", address));
    EXPECT_EQ(address, loopback_address());
    EXPECT_EQ(address_text(0x04030201), "1.2.3.4");
    EXPECT_EQ(address_text(0xFFFFFFFF), "255.255.255.255");
    EXPECT_EQ(numeric_host("10.1.2.3"), "10.1.2.3");
    EXPECT_EQ(numeric_host("no host at all"), "no host at all");
    EXPECT_FALSE(resolve("no host at all", address));
}

} // namespace
} // namespace qv::socket
