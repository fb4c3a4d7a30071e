// The device on real interfaces of the kernel: "vcan0" and "vcan1" are virtual, "can0" and "can1" are controllers
// on one bus. Needs root.

#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <linux/can/raw.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "can/hardware/bus_socket_can.h"
#include "can/hardware/test_kit.h"

namespace qv::can_bus::hardware {
namespace {

using namespace std::chrono_literals;
using test::await;
using test::Bytes;

std::string text_of(std::uint32_t identifier, const std::uint8_t* data, std::uint32_t length)
{
    std::array<char, 16> word{};
    std::snprintf(word.data(), word.size(), "%08X", identifier);
    std::string text = word.data();
    for (std::uint32_t i = 0; i < length; ++i) {
        std::snprintf(word.data(), word.size(), " %02X", data[i]);
        text += word.data();
    }
    return text;
}

/// Changes an interface, by its index, that stays when it gets another name.
class Interface {
public:
    explicit Interface(const char* name)
        : index_(static_cast<int>(::if_nametoindex(name)))
    {}
    ~Interface() { ::close(socket_); }
    Interface(const Interface&) = delete;
    Interface& operator=(const Interface&) = delete;

    void set_up(bool up) const
    {
        ifreq request = named();
        EXPECT_EQ(::ioctl(socket_, SIOCGIFFLAGS, &request), 0);
        request.ifr_flags = static_cast<short>(up ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP);
        EXPECT_EQ(::ioctl(socket_, SIOCSIFFLAGS, &request), 0);
    }
    void rename(const std::string& name) const
    {
        set_up(false);
        ifreq request = named();
        name.copy(request.ifr_newname, sizeof request.ifr_newname - 1);
        EXPECT_EQ(::ioctl(socket_, SIOCSIFNAME, &request), 0);
        set_up(true);
    }
    int index() const { return index_; }

private:
    ifreq named() const
    {
        ifreq request{};
        ::if_indextoname(static_cast<unsigned>(index_), request.ifr_name);
        return request;
    }

    int index_;
    int socket_ = ::socket(AF_CAN, SOCK_RAW, CAN_RAW);
};

/// Somebody else on the bus. Frames are texts: the identifier with the flags of the kernel, then the data.
class Peer {
public:
    explicit Peer(const char* interface_name)
    {
        sockaddr_can address{};
        address.can_family = AF_CAN;
        address.can_ifindex = Interface(interface_name).index();
        EXPECT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    ~Peer() { ::close(socket_); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    bool send(std::uint32_t can_id, const Bytes& data) const
    {
        can_frame frame{};
        frame.can_id = can_id;
        frame.can_dlc = static_cast<std::uint8_t>(data.size());
        std::copy(data.begin(), data.end(), frame.data);
        return ::send(socket_, &frame, sizeof frame, 0) == sizeof frame;
    }
    /// "" when nothing comes for so long.
    std::string receive(std::chrono::milliseconds limit = 2s) const
    {
        pollfd polled{socket_, POLLIN, 0};
        can_frame frame{};
        while (::poll(&polled, 1, static_cast<int>(limit.count())) > 0) {
            if (::recv(socket_, &frame, sizeof frame, MSG_DONTWAIT) == sizeof frame) {
                return text_of(frame.can_id, frame.data, frame.can_dlc);
            }
        }
        return "";
    }

private:
    int socket_ = ::socket(AF_CAN, SOCK_RAW, CAN_RAW);
};

/// A device and somebody who hears it.
struct Pair {
    const char *device, *peer;
};

class Socket_can_test : public testing::Test {
protected:
    static constexpr Pair pairs[] = {{"vcan0", "vcan0"}, {"can1", "can0"}, {"can0", "can1"}};
    static constexpr std::uint32_t flood = 10000;

    void SetUp() override
    {
        for (const char* name : {"can0", "can1", "vcan0", "vcan1"}) {
            if (::if_nametoindex(name) == 0) {
                GTEST_SKIP() << "this kernel has no CAN interface " << name;
            }
        }
        if (::geteuid() != 0) {
            GTEST_SKIP() << "only root may change an interface";
        }
    }
    /// Opens a device on the interface.
    void open(const char* name)
    {
        device = Bus_socket_can::create(name, false);
        EXPECT_TRUE(device->open() && device->is_open());
        EXPECT_EQ(device->description(), std::string("socket can @") + name);
    }
    bool write(std::uint32_t identifier, const Bytes& data) const
    {
        return device->write(identifier, data.data(), static_cast<std::uint32_t>(data.size()), 255);
    }
    /// The next frame that the device delivers; "" when none comes for so long.
    std::string read(std::chrono::milliseconds limit = 2s) const
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        Message message;
        while (!device->read(message)) {
            if (std::chrono::steady_clock::now() > deadline) {
                return "";
            }
            std::this_thread::sleep_for(100us);
        }
        return text_of(message.identifier, message.data.data(), message.length);
    }
    static std::string numbered(std::uint32_t number) { return text_of(0x18FF0000 + number, nullptr, 0); }

    std::unique_ptr<Bus_socket_can> device;
};

TEST_F(Socket_can_test, moves_frames_both_ways_and_does_not_hear_itself)
{
    for (const Pair& pair : pairs) {
        open(pair.device);
        const Peer peer(pair.peer);
        EXPECT_TRUE(write(0x18EA2380, {0, 0xEE, 0}) && write(0x1FFFFFFF, {}) && write(0, Bytes(8, 0xA5)));
        EXPECT_EQ(peer.receive(), "98EA2380 00 EE 00");
        EXPECT_EQ(peer.receive(), "9FFFFFFF");
        EXPECT_EQ(peer.receive(), "80000000 A5 A5 A5 A5 A5 A5 A5 A5");
        EXPECT_FALSE(write(0x18EA2380, Bytes(9)));

        EXPECT_TRUE(peer.send(0x98EEFF80, {1, 2, 3, 4, 5, 6, 7, 8}) && peer.send(0x7FF, {0x0A}) &&
                    peer.send(CAN_EFF_FLAG | CAN_RTR_FLAG | 0x18EAFFFE, {}) && peer.send(0x80000000, {}));
        EXPECT_EQ(read(), "18EEFF80 01 02 03 04 05 06 07 08");
        EXPECT_EQ(read(), "000007FF 0A"); // a standard frame
        EXPECT_EQ(read(), "18EAFFFE");
        EXPECT_EQ(read(), "00000000");
        EXPECT_EQ(read(20ms) + peer.receive(20ms), "");

        device->close();
        EXPECT_FALSE(device->is_open() || write(0x18EA2380, {}));
        EXPECT_TRUE(peer.send(0x98EEFF81, {}));
        EXPECT_EQ(read(20ms), "");
    }
}

TEST_F(Socket_can_test, works_on_when_the_interface_comes_back)
{
    for (const Pair& pair : pairs) {
        const Interface interface(pair.device);
        for (const bool down_at_first : {false, true}) {
            interface.set_up(!down_at_first);
            open(pair.device);
            interface.set_up(false);
            EXPECT_FALSE(write(1, {}));
            const auto busy = std::clock();
            std::this_thread::sleep_for(200ms);
            EXPECT_LT(std::clock() - busy, CLOCKS_PER_SEC / 20) << "the receive thread does not wait";
            EXPECT_FALSE(write(2, {}));
            interface.set_up(true);
            EXPECT_TRUE(device->is_open());
            const Peer peer(pair.peer);
            EXPECT_TRUE(write(0x18EA2380, {3}) && peer.send(0x98EEFF80, {4}));
            EXPECT_EQ(peer.receive(), "98EA2380 03");
            EXPECT_EQ(read(), "18EEFF80 04");
            for (int round = 0; round < 20; ++round) { // as when a new bit rate is set: nobody waits in between
                interface.set_up(false);
                interface.set_up(true);
                ASSERT_TRUE(write(0x18EA2380, {})) << round;
                ASSERT_TRUE(peer.receive() == "98EA2380" || pair.peer == pair.device);
            }
        }
    }
}

TEST_F(Socket_can_test, loses_nothing_of_a_flood_that_it_can_take)
{
    constexpr std::uint32_t burst = 100; // the ring has 128
    open("vcan0");
    const Peer peer("vcan0");
    for (std::uint32_t number = 0; number < flood; number += burst) {
        for (std::uint32_t i = 0; i < burst; ++i) {
            ASSERT_TRUE(peer.send(CAN_EFF_FLAG | (0x18FF0000 + number + i), {}));
            ASSERT_TRUE(write(0x98FF0000 + number + i, {}));
        }
        for (std::uint32_t i = 0; i < burst; ++i) {
            ASSERT_EQ(read(), numbered(number + i));
            ASSERT_EQ(peer.receive(), numbered(0x80000000 + number + i));
        }
    }
}

TEST_F(Socket_can_test, keeps_the_newest_of_a_flood_that_nobody_reads)
{
    open("vcan0");
    const Peer peer("vcan0");
    for (std::uint32_t number = 0; number < flood; ++number) {
        ASSERT_TRUE(peer.send(CAN_EFF_FLAG | (0x18FF0000 + number), {}));
        if (number % 50 == 0) { // the socket holds a few hundred, and drops the newest: not those of the end
            std::this_thread::sleep_for(number < flood - 500 ? 1ms : 50ms);
        }
    }
    std::this_thread::sleep_for(300ms);
    for (std::uint32_t number = flood - Bus_socket_can::queue_capacity; number < flood; ++number) {
        ASSERT_EQ(read(), numbered(number));
    }
    EXPECT_FALSE(device->has_frame());
}

TEST_F(Socket_can_test, loses_what_the_full_queue_of_a_controller_does_not_take_and_never_waits)
{
    open("can1");
    const Peer peer("can0");
    std::vector<std::string> taken;
    std::vector<std::string> heard;
    std::thread listening([&] {
        do {
            heard.push_back(peer.receive());
        } while (!heard.back().empty() && heard.back() != "800000FF");
    });
    const auto start = std::chrono::steady_clock::now();
    for (std::uint32_t number = 0; number < flood; ++number) {
        if (write(0x18FF0000 + number, {})) {
            taken.push_back(numbered(0x80000000 + number));
        }
    }
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(await([this] { return write(0xFF, {}); }));
    taken.emplace_back("800000FF");
    listening.join();
    EXPECT_EQ(heard, taken);
    EXPECT_TRUE(taken.size() < flood && elapsed < 5s) << taken.size(); // the bus needs 5.5 s for all
}

TEST_F(Socket_can_test, takes_15_characters_of_a_name_that_is_too_long)
{
    const Interface interface("vcan1");
    interface.rename("vcan_15_letters");
    open("vcan_15_letters_and_more");
    const Peer peer("vcan_15_letters");
    EXPECT_TRUE(write(0x18EA2380, {}));
    EXPECT_EQ(peer.receive(), "98EA2380");
    interface.rename("vcan1");
}

TEST_F(Socket_can_test, hears_every_bus_and_reaches_none_when_there_is_no_such_interface)
{
    open("can9");
    EXPECT_FALSE(write(0x18EA2380, {}));
    EXPECT_TRUE(Peer("vcan1").send(0x98EEFF80, {}) && Peer("can0").send(0x98EEFF81, {}));
    EXPECT_EQ(read(), "18EEFF80");
    EXPECT_EQ(read(), "18EEFF81");
}

TEST_F(Socket_can_test, does_not_open_on_an_interface_of_another_kind)
{
    device = Bus_socket_can::create("lo", false);
    EXPECT_FALSE(device->open() || device->is_open() || write(0x18EA2380, {}));
    EXPECT_EQ(device->description(), "CAN initialization failed");
}

/// It needs one for the socket, and one that ends its thread.
TEST_F(Socket_can_test, does_not_open_when_no_descriptor_is_left_and_opens_when_there_is)
{
    device = Bus_socket_can::create("vcan0", false);
    rlimit former{};
    ::getrlimit(RLIMIT_NOFILE, &former);
    const int next = ::dup(STDIN_FILENO);
    ::close(next);
    for (const int left : {0, 1, 2}) {
        const rlimit limit{static_cast<rlim_t>(next + left), former.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &limit);
        EXPECT_EQ(device->open(), left == 2);
        EXPECT_EQ(device->is_open(), left == 2);
    }
    ::setrlimit(RLIMIT_NOFILE, &former);
    EXPECT_TRUE(write(0x18EA2380, {}));
}

} // namespace
} // namespace qv::can_bus::hardware
