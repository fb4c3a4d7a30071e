// Interface control on real interfaces of the kernel: "can0" and "can1" are sja1000 controllers, "vcan0" has no
// bit timing. Needs root and the program `ip`, which tells independently what became of an interface.

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/netlink_priv.h"

namespace qv::platform {
namespace {

using testing::AllOf;
using testing::HasSubstr;

/// What `ip` shows of an interface.
std::string shown(const std::string& name)
{
    std::string text;
    std::FILE* pipe = ::popen(("ip -details link show " + name).c_str(), "r");
    std::array<char, 1024> line{};
    while (std::fgets(line.data(), line.size(), pipe) != nullptr) {
        text += line.data();
    }
    ::pclose(pipe);
    return text;
}

/// What an action tells on standard output.
std::string told(const std::function<void()>& action)
{
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

/// Sees whether an interface was taken down since it was last asked.
class Watch {
public:
    explicit Watch(Netlink_priv& netlink)
        : socket_(netlink.openSocket())
    {}
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() { ::close(socket_); }

    bool was_down() const
    {
        char frame = 0;
        return ::recv(socket_, &frame, 1, MSG_DONTWAIT) < 0 && errno == ENETDOWN;
    }
    unsigned interface_index() const
    {
        sockaddr_can address{};
        socklen_t size = sizeof address;
        ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
        return static_cast<unsigned>(address.can_ifindex);
    }

private:
    int socket_;
};

/// The controllers are up at 250 kbit/s, with the sample point, restart time and queue that the kernel prefers.
class Can_interface_test : public testing::Test {
protected:
    void SetUp() override
    {
        for (const char* name : {"can0", "can1", "vcan0"}) {
            if (::if_nametoindex(name) == 0) {
                GTEST_SKIP() << "this kernel has no CAN interface " << name;
            }
        }
        if (::geteuid() != 0) {
            GTEST_SKIP() << "only root may change an interface";
        }
        prepare();
    }
    void TearDown() override
    {
        if (!IsSkipped()) {
            prepare();
        }
    }

private:
    static void prepare()
    {
        for (const std::string name : {"can0", "can1"}) {
            const std::string set = "ip link set " + name;
            EXPECT_EQ(std::system((set + " down && " + set + " txqueuelen 10 && " + set +
                                   " up type can bitrate 250000 sample-point 0.875 restart-ms 0")
                                      .c_str()),
                      0);
        }
    }
};

TEST_F(Can_interface_test, sets_a_controller_up_and_stops_it_only_for_what_is_new)
{
    for (const char* name : {"can0", "can1"}) {
        EXPECT_EQ(told([name] { Netlink_priv(name, 250000); }),
                  "Channel: " + std::string(name) + " bittiming has changed - updating and resetting\n");
        EXPECT_THAT(shown(name), AllOf(HasSubstr(",UP,"), HasSubstr("qlen 150"), HasSubstr("restart-ms 100"),
                                       HasSubstr("bitrate 250000 sample-point 0.812"), HasSubstr(" sjw 1 ")));

        const std::string unchanged =
            "Channel: " + std::string(name) + " bittiming has not changed - no reset necessary\n";
        EXPECT_EQ(told([name] { Netlink_priv(name, 250000); }), unchanged);
        Netlink_priv netlink(name, 250000);
        const Watch watch(netlink);
        EXPECT_EQ(told([&] { netlink.updateBitTiming(); }), unchanged);
        EXPECT_FALSE(watch.was_down());
        EXPECT_EQ(netlink.setRestartMS(), 0);
        EXPECT_TRUE(watch.was_down());

        for (const std::uint32_t rate : {500000U, 125000U, 250000U}) {
            netlink.setBitrate(rate);
            EXPECT_TRUE(watch.was_down() && netlink.isConfigurationCorrect() && netlink.getBitrate() == rate);
            EXPECT_THAT(shown(name), AllOf(HasSubstr(",UP,"), HasSubstr("bitrate " + std::to_string(rate) + " ")));
        }
    }
}

TEST_F(Can_interface_test, takes_any_interface_down_and_up_and_opens_a_socket_on_it)
{
    for (const char* name : {"can1", "vcan0"}) {
        Netlink_priv netlink("can0", 250000);
        EXPECT_TRUE(netlink.setInterfaceUp(name, false));
        EXPECT_FALSE(netlink.getInterfaceUp(name));
        EXPECT_THAT(shown(name), Not(HasSubstr(",UP")));
        EXPECT_TRUE(netlink.setInterfaceUp(name, true));
        EXPECT_TRUE(netlink.getInterfaceUp(name));
        EXPECT_THAT(shown(name), HasSubstr(",UP,"));
    }
    Netlink_priv netlink("can1", 250000);
    const Watch watch(netlink);
    EXPECT_EQ(watch.interface_index(), ::if_nametoindex("can1"));
    EXPECT_TRUE(netlink.resetInterface() && watch.was_down() && netlink.getInterfaceUp("can1"));
}

TEST_F(Can_interface_test, keeps_the_rate_when_the_controller_cannot_reach_another)
{
    Netlink_priv netlink("can1", 250000);
    EXPECT_EQ(told([&] { netlink.setBitrate(1); }),
              "Channel: can1 bittiming has changed - updating and resetting\n"
              "Netlink_priv::updateBitTiming: Channel: can1, can_set_bitrate failed : Numerical argument out of "
              "domain\n");
    EXPECT_THAT(shown("can1"), AllOf(HasSubstr(",UP,"), HasSubstr("bitrate 250000 sample-point 0.812")));
}

/// A line of an operation, with what follows the name of the interface.
std::string line(const std::string& operation, const std::string& name, const std::string& text)
{
    return "Netlink_priv::" + operation + ": Channel: " + name + text + '\n';
}

TEST_F(Can_interface_test, tells_what_is_refused_to_a_user_without_rights)
{
    const auto before = shown("can1");
    ASSERT_EQ(::seteuid(65534), 0);
    EXPECT_EQ(
        told([] {
            Netlink_priv netlink("can1", 500000);
            EXPECT_TRUE(netlink.getInterfaceUp("can1") && !netlink.resetInterface());
        }),
        "Channel: can1 bittiming has changed - updating and resetting\n" +
            line("updateBitTiming", "can1", ", can_do_stop failed : Operation not permitted") +
            line("updateBitTiming", "can1", ", can_set_bitrate failed : Operation not permitted") +
            line("updateBitTiming", "can1", ", can_do_start failed : Operation not permitted") +
            line("setRestartMS", "can1", ", Error taking the interface down.") +
            line("setRestartMS", "can1", ", Error setting the restart-ms value : Operation not permitted") +
            line("setRestartMS", "can1", ", Error bringing the interface up.") +
            line("setTxQueueLength", "can1", ", Error setting the TX Queue Length : Operation not permitted ") +
            line("setInterfaceUp", "can1",
                 ", Error setting the active word flags (ifr_flags) Operation not permitted "));
    ASSERT_EQ(::seteuid(0), 0);
    EXPECT_EQ(shown("can1"), before);
}

/// What is told first of an interface whose timing cannot be read.
std::string unreadable(const std::string& name, const std::string& reason)
{
    return line("updateBitTiming", name, ", can_get_bittiming failed :" + reason) + ' ' +
           line("updateBitTiming", name, ", can_get_bittiming_const failed : " + reason) +
           line("isConfigurationCorrect", name, ", can_get_bittiming failed : " + reason) +
           line("isConfigurationCorrect", name, ", can_get_bittiming_const failed : " + reason) +
           "Channel: " + name + " bittiming has changed - updating and resetting\n" +
           line("updateBitTiming", name, ", Error checking can device state.");
}

TEST_F(Can_interface_test, tells_that_a_virtual_interface_has_no_bit_timing)
{
    EXPECT_EQ(told([] { Netlink_priv("vcan0", 250000); }),
              unreadable("vcan0", "Operation not supported") +
                  line("updateBitTiming", "vcan0", ", can_set_bitrate failed : Operation not supported") +
                  line("setRestartMS", "vcan0", " , Error checking can device state."));
    EXPECT_THAT(shown("vcan0"), AllOf(HasSubstr(",UP,"), HasSubstr("qlen 150")));
}

TEST_F(Can_interface_test, tells_each_failure_once_when_there_is_no_such_interface)
{
    const std::string reason = "No such device";
    for (const std::string name : {"can9", "a_name_of_more_than_15"}) {
        EXPECT_EQ(
            told([&] {
                Netlink_priv netlink(name.c_str(), 250000);
                EXPECT_FALSE(netlink.getInterfaceUp(name.c_str()) || netlink.resetInterface());
                EXPECT_TRUE(netlink.openSocket() == -1 && errno == ENODEV);
            }),
            unreadable(name, reason) + line("updateBitTiming", name, ", can_do_stop failed : " + reason) +
                line("updateBitTiming", name, ", can_set_bitrate failed : " + reason) +
                line("updateBitTiming", name, ", can_do_start failed : " + reason) +
                line("setRestartMS", name, " , Error checking can device state.") +
                line("setTxQueueLength", name, ", Error setting the TX Queue Length : " + reason + ' ') +
                line("getInterfaceUp", name, ", Error getting the active word flags (ifr_flags) " + reason + ' ') +
                line("setInterfaceUp", name, ", Error getting the active word flags (ifr_flags) " + reason));
    }
}

} // namespace
} // namespace qv::platform
