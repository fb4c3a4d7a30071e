#include "framework/socket/socket.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
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

TEST_F(Socket_test, bytes_go_both_ways)
{
    EXPECT_TRUE(send(client_, "ping"));
    EXPECT_EQ(receive(peer_), "ping");
    EXPECT_TRUE(send(peer_, "pong"));
    EXPECT_EQ(receive(client_), "pong");
    EXPECT_EQ(client_.address_text(), "127.0.0.1:" + std::to_string(server_.port()));
}

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

TEST_F(Socket_test, a_full_non_blocking_connection_refuses_the_rest)
{
    const std::vector<std::uint8_t> much(16 << 20);
    EXPECT_FALSE(client_.write(much.data(), much.size()));
    EXPECT_TRUE(client_.is_open());
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

/// A writer that goes on through hundreds of reconnections while other files take the freed descriptors.
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
    for (int round = 0; round < 300; ++round) {
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

class Socket_lines final : public log::Sink {
public:
    Socket_lines() { log::set_sink(this); }
    ~Socket_lines() override { log::set_sink(nullptr); }
    bool accepts(log::Level level) const override { return level == 1; }
    void write(log::Level, log::Client client, std::string_view text) override
    {
        lines.push_back(std::to_string(client) + " " + std::string(text));
    }
    log::Client register_client(std::string_view text) override
    {
        name = text;
        return 9;
    }
    std::string name;
    std::vector<std::string> lines;
};

TEST_F(Socket_test, failures_are_logged_when_asked_for)
{
    Socket_lines log;
    Socket quiet(false, "quiet");
    EXPECT_FALSE(quiet.open(loopback_address(), -1, 1, true, true, false));
    EXPECT_EQ(log.name + std::to_string(log.lines.size()), "0");
    Socket loud(true, std::string(100, 'x'));
    EXPECT_EQ(log.name.size(), 47U);
    EXPECT_EQ(log.name.substr(0, 9), "socket 0x");
    EXPECT_FALSE(loud.open(loopback_address(), -1, 1, true, true, false));
    EXPECT_FALSE(loud.listen_on(::inet_addr("192.0.2.1"), AF_INET, 0, true, false));
    EXPECT_EQ(log.lines, (std::vector<std::string>{"9 socket failed, error " + std::to_string(EAFNOSUPPORT),
                                                   "9 bind failed, error " + std::to_string(EADDRNOTAVAIL)}));
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

TEST_F(Socket_test, a_port_that_somebody_listens_on_is_not_free)
{
    EXPECT_TRUE(can_connect(loopback_address(), server_.port()));
    EXPECT_FALSE(is_port_free(server_.port()));
}

} // namespace
} // namespace qv::socket
