#include "platform/netlink_priv.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <linux/sockios.h>

namespace qv::platform {
namespace {

/// An interface that notes what changes it.
class Fake_link final : public Can_link {
public:
    int get_state(const char*, int& value) override { return value = state, result("get_state"); }
    int stop(const char*) override { return note("stop", CAN_STATE_STOPPED); }
    int start(const char*) override { return note("start", CAN_STATE_ERROR_ACTIVE); }
    int set_restart_ms(const char*, std::uint32_t ms) override
    {
        return note("restart " + std::to_string(ms), state);
    }
    int get_bittiming(const char*, can_bittiming& value) override
    {
        return value = timing, result("get_bittiming");
    }
    int get_bittiming_const(const char*, can_bittiming_const& limits) override
    {
        return std::strcpy(limits.name, driver), result("get_bittiming_const");
    }
    int set_bittiming(const char*, can_bittiming& value) override
    {
        timing = value;
        return note("set " + std::to_string(value.bitrate) + ' ' + std::to_string(value.sample_point) + ' ' +
                        std::to_string(value.sjw),
                    state);
    }
    int open_socket() override { return result("open_socket") == 0 ? ++open : -1; }
    int control(int, unsigned long request, ifreq& argument) override
    {
        switch (request) {
            case SIOCSIFTXQLEN: return note("queue " + std::to_string(argument.ifr_qlen), state);
            case SIOCGIFFLAGS: return argument.ifr_flags = flags, result("get_flags");
            case SIOCSIFFLAGS: return flags = argument.ifr_flags, result("set_flags");
            default: return argument.ifr_ifindex = 5, result("index");
        }
    }
    int bind(int, const sockaddr_can& address) override { return address.can_ifindex == 5 ? result("bind") : -1; }
    void close(int) override { errno = 0, --open; }

    std::string calls() { return std::exchange(calls_, {}); }

    const char* driver = "flexcan";
    can_bittiming timing = {};
    int state = CAN_STATE_ERROR_ACTIVE;
    short flags = IFF_NOARP;
    int open = 0;
    std::string failing; ///< the first word of the call that fails, or "all"

private:
    int result(const std::string& call)
    {
        errno = ENODEV;
        return failing == "all" || failing == call.substr(0, call.find(' ')) ? -1 : 0;
    }
    int note(const std::string& call, int next_state)
    {
        calls_ += call + ", ";
        state = next_state;
        return result(call);
    }

    std::string calls_;
};

class Netlink_priv_test : public testing::Test {
protected:
    /// What `action` prints.
    template <class Action> std::string printed(Action action)
    {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }
    std::string construct()
    {
        return printed([this] { Netlink_priv("can1", 250000, link); });
    }

    Fake_link link;
};

const std::string restart = "stop, restart 100, start, queue 150, ";

TEST_F(Netlink_priv_test, the_driver_decides_on_the_sample_point)
{
    const struct {
        const char* driver;
        const char* requested;
        std::uint32_t expected;
    } rows[] = {
        {"flexcan", "800", 800},    {"mcp251x", "800", 800},  {"sja1000", "813", 812},
        {"systec_can", "813", 812}, {"sja1000x", "800", 800}, {"", "800", 800},
    };
    for (const auto& row : rows) {
        link.driver = row.driver;
        link.timing = {};
        EXPECT_EQ(construct(), "Channel: can1 bittiming has changed - updating and resetting\n");
        EXPECT_EQ(link.calls(), "stop, set 250000 " + std::string(row.requested) + " 1, start, " + restart);
        link.timing.sample_point = row.expected;
        EXPECT_EQ(construct(), "Channel: can1 bittiming has not changed - no reset necessary\n");
        EXPECT_EQ(link.calls(), restart);
    }
}

TEST_F(Netlink_priv_test, a_new_bit_rate_is_applied_at_once_and_without_a_stop_when_stopped)
{
    Netlink_priv netlink("can1", 250000, link);
    link.calls();
    link.state = CAN_STATE_STOPPED;
    netlink.setBitrate(500000);
    EXPECT_EQ(link.calls(), "set 500000 800 1, start, ");
    EXPECT_TRUE(netlink.isConfigurationCorrect());
    link.timing.sjw = 2;
    EXPECT_FALSE(netlink.isConfigurationCorrect());
}

TEST_F(Netlink_priv_test, a_missing_interface_is_told_once_for_each_call)
{
    link.failing = "all";
    EXPECT_EQ(
        construct(),
        "Netlink_priv::updateBitTiming: Channel: can1, can_get_bittiming failed :No such device\n "
        "Netlink_priv::updateBitTiming: Channel: can1, can_get_bittiming_const failed : No such device\n"
        "Netlink_priv::isConfigurationCorrect: Channel: can1, can_get_bittiming failed : No such device\n"
        "Netlink_priv::isConfigurationCorrect: Channel: can1, can_get_bittiming_const failed : No such device\n"
        "Channel: can1 bittiming has changed - updating and resetting\n"
        "Netlink_priv::updateBitTiming: Channel: can1, Error checking can device state.\n"
        "Netlink_priv::updateBitTiming: Channel: can1, can_do_stop failed : No such device\n"
        "Netlink_priv::updateBitTiming: Channel: can1, can_set_bitrate failed : No such device\n"
        "Netlink_priv::updateBitTiming: Channel: can1, can_do_start failed : No such device\n"
        "Netlink_priv::setRestartMS: Channel: can1 , Error checking can device state.\n"
        "Netlink_priv::setTxQueueLength: Channel: can1, Error setting the TX Queue Length : No such device \n");
}

TEST_F(Netlink_priv_test, the_restart_goes_on_after_a_failure_and_answers_with_it)
{
    Netlink_priv netlink("can1", 250000, link);
    for (const char* call : {"stop", "restart", "start"}) {
        link.calls();
        link.state = CAN_STATE_ERROR_ACTIVE;
        link.failing = call;
        EXPECT_EQ(netlink.setRestartMS(), call == std::string("stop") ? 0 : -1);
        EXPECT_EQ(link.calls(), "stop, restart 100, start, ");
    }
}

TEST_F(Netlink_priv_test, the_interface_goes_down_and_up_and_no_socket_is_lost)
{
    Netlink_priv netlink("can1", 250000, link);
    EXPECT_TRUE(netlink.resetInterface());
    EXPECT_EQ(link.flags, IFF_NOARP | IFF_UP);
    EXPECT_TRUE(netlink.getInterfaceUp("can1"));
    for (const char* call : {"get_flags", "set_flags", "open_socket"}) {
        link.failing = call;
        const std::string output = printed([&] { EXPECT_FALSE(netlink.resetInterface()); });
        EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1) << call;
    }
    for (const char* call : {"open_socket", "index", "bind"}) {
        link.failing = call;
        EXPECT_EQ(netlink.openSocket(), -1);
        EXPECT_EQ(errno, ENODEV) << call;
    }
    EXPECT_EQ(link.open, 0);
    link.failing.clear();
    EXPECT_EQ(netlink.openSocket(), 1);
}

} // namespace
} // namespace qv::platform
