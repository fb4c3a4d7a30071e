// The network layer against the J1939 stack of the Linux kernel on "vcan0", with j1939acd and j1939cat of
// can-utils.

#include <csignal>
#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/harness/bench.h"
#include "bench/harness/kernel_peer.h"
#include "can/bus/network_stack_test_kit.h"

namespace {

using namespace std::chrono_literals;
using harness::Kernel_peer;
using harness::Process;
using qv::can_bus::test::Network_stack;
namespace message = qv::can_bus::ecu::message;

constexpr const char* interface = "vcan0";
constexpr std::uint32_t own_address = 0x80;

class J1939 : public testing::Test {
protected:
    void SetUp() override
    {
        if (const auto obstacle = Kernel_peer::obstacle(interface); !obstacle.empty()) {
            GTEST_SKIP() << obstacle;
        }
        harness::stay_on_one_cpu();
    }
};

std::string random_bytes(std::size_t size)
{
    std::mt19937 random(static_cast<std::mt19937::result_type>(size));
    std::string bytes(size, '\0');
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<char>(random()); });
    return bytes;
}

qv::Byte_array bytes_of(const std::string& text)
{
    return qv::Byte_array({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

struct Transfer {
    const char* name;
    std::size_t size;
    bool broadcast;
    qv::can_bus::tp::Limits limits;
};

std::ostream& operator<<(std::ostream& out, const Transfer& transfer) { return out << transfer.name; }

/// Seen of the kernel: it opens windows of 255 packets, where the local ECU opens one of 16; it names the packets
/// of the whole message as the limit of a window in its RTS; its BAM packets come 50 ms apart, where 51 are sent
/// to it.
class Transfer_test : public J1939, public testing::WithParamInterface<Transfer> {
protected:
    /// j1939cat leaves when a newer kernel tells it of the progress, so that what its socket has not taken is
    /// lost.
    static constexpr std::size_t j1939cat_maximum = 20000;

    void SetUp() override
    {
        J1939::SetUp();
        if (!IsSkipped()) {
            peer = std::make_unique<Kernel_peer>(interface);
            stack = std::make_unique<Network_stack>(interface, GetParam().limits);
            stack->claim(own_address);
            ASSERT_TRUE(stack->told<message::address::Claimed>(10s));
        }
    }
    void send_from_kernel(std::uint32_t pgn, const std::string& payload) const
    {
        const std::uint8_t destination = GetParam().broadcast ? 255 : own_address;
        if (payload.size() > j1939cat_maximum) {
            EXPECT_TRUE(peer->send(destination, pgn, payload));
            return;
        }
        harness::write_file(bench.path("payload"), payload);
        const auto to = ":" + std::to_string(destination) + "," + std::to_string(pgn);
        Process cat(
            {"/usr/bin/j1939cat", "-B", "-i", bench.path("payload"), std::string(interface) + ":0x90,0", to});
        EXPECT_TRUE(cat.ends(60s));
    }

    harness::Bench bench;
    std::unique_ptr<Kernel_peer> peer;
    std::unique_ptr<Network_stack> stack;
};

TEST_P(Transfer_test, carries_the_bytes_to_the_kernel_and_back)
{
    const auto& [name, size, broadcast, limits] = GetParam();
    const std::uint32_t out = broadcast ? 0xFF10 : 0xEF00;
    const std::uint32_t back = broadcast ? 0xFF11 : 0xEF00; // the stack hears its own broadcasts
    const std::string payload = random_bytes(size);
    stack->send(broadcast ? 0 : Kernel_peer::name, out, bytes_of(payload));
    EXPECT_TRUE(peer->receive(out, size) == payload) << name;

    stack->hear(back);
    send_from_kernel(back, payload);
    const auto heard = stack->heard(back, 60s);
    ASSERT_TRUE(heard) << name;
    EXPECT_TRUE(heard->data == bytes_of(payload)) << name;
    EXPECT_EQ(heard->address_holder->name(), Kernel_peer::name);
}

constexpr qv::can_bus::tp::Limits quick{100, 64, 5}; ///< packets a window and a tick, and tries
INSTANTIATE_TEST_SUITE_P(sizes, Transfer_test,
                         testing::Values(Transfer{"TP_of_9_bytes", 9, false, {}},
                                         Transfer{"TP_of_1785_bytes", 1785, false, {}},
                                         Transfer{"ETP_of_1786_bytes", 1786, false, {}},
                                         Transfer{"ETP_of_1_MiB", 1 << 20, false, quick},
                                         Transfer{"BAM_of_9_bytes", 9, true, {}},
                                         Transfer{"BAM_of_1785_bytes", 1785, true, {}}),
                         [](const auto& row) { return std::string(row.param.name); });

/// Both claim address 0x90: the peer holds it already, but is stopped while the stack asks and claims.
class Contest_test : public J1939 {
protected:
    /// The peer goes on, answers what it was asked, and the contest begins.
    void meet(const std::string& peer_name)
    {
        bus = start({"/usr/bin/candump", "-L", interface});
        peer = start({"/usr/bin/j1939acd", "-v", "-r", "0x90,0x91", "-a", "0x90", peer_name, interface});
        ASSERT_TRUE(peer->says("claimed 0x90")) << peer->output();
        peer->signal(SIGSTOP);
        stack = std::make_unique<Network_stack>(interface, qv::can_bus::tp::Limits{});
        stack->claim(0x90);
        ASSERT_TRUE(stack->told<message::address::Claimed>(10s));
        EXPECT_TRUE(bus->says(own_claim)) << bus->output();
        peer->signal(SIGCONT);
    }
    static std::unique_ptr<Process> start(const std::vector<std::string>& arguments)
    {
        return std::make_unique<Process>(arguments);
    }

    const std::string own_claim = "18EEFF90#0700E012008100A0";
    std::unique_ptr<Process> bus;
    std::unique_ptr<Process> peer;
    std::unique_ptr<Network_stack> stack;
};

TEST_F(Contest_test, keeps_its_address_when_the_peer_has_the_higher_name)
{
    meet("C000820012E00007");
    EXPECT_TRUE(bus->says("18EEFF90#0700E012008200C0")) << bus->output();
    EXPECT_TRUE(bus->says(own_claim)) << bus->output();
    EXPECT_TRUE(peer->says("claimed 0x91")) << peer->output();
    EXPECT_FALSE(stack->told<message::address::Lost_claim>(1s));
}

TEST_F(Contest_test, moves_to_another_address_when_the_peer_has_the_lower_name)
{
    meet("2000820012E00007");
    const auto lost = stack->told<message::address::Lost_claim>(10s);
    ASSERT_TRUE(lost);
    EXPECT_EQ(lost->lost_address, 0x90U);
    EXPECT_TRUE(stack->told<message::address::Claimed>(10s));
    EXPECT_TRUE(bus->says("18EEFF90#0700E01200820020")) << bus->output();
    EXPECT_TRUE(bus->says("18EAFFFE#00EE00")) << bus->output(); // it starts from the beginning
    EXPECT_TRUE(bus->says("18EEFF91#0700E012008100A0")) << bus->output();
}

} // namespace
