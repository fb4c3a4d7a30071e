#include "platform/netlink_priv.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <linux/sockios.h>

namespace qv::platform {
namespace {

/// An interface that notes what is done to it.
class Fake_link final : public Can_link {
public:
    int get_state(const char*, int& value) override
    {
        return answer(
            "get_state", [&] { value = state; }, false);
    }
    int stop(const char*) override
    {
        return answer("stop", [&] { state = CAN_STATE_STOPPED; });
    }
    int start(const char*) override
    {
        return answer("start", [&] { state = CAN_STATE_ERROR_ACTIVE; });
    }
    int set_restart_ms(const char*, std::uint32_t milliseconds) override
    {
        return answer("restart " + std::to_string(milliseconds), [] {});
    }
    int get_bittiming(const char*, can_bittiming& value) override
    {
        return answer(
            "get_bittiming", [&] { value = timing; }, false);
    }
    int get_bittiming_const(const char*, can_bittiming_const& limits) override
    {
        return answer(
            "get_bittiming_const", [&] { std::strcpy(limits.name, driver); }, false);
    }
    int set_bittiming(const char*, can_bittiming& value) override
    {
        const auto text = "set " + std::to_string(value.bitrate) + ' ' + std::to_string(value.sample_point) + ' ' +
                          std::to_string(value.sjw);
        return answer(text, [&] { timing = value; });
    }
    int open_socket() override
    {
        return answer(
                   "open_socket", [&] { ++open; }, false) == 0
                   ? 3
                   : -1;
    }
    int control(int, unsigned long request, ifreq& argument) override
    {
        switch (request) {
            case SIOCSIFTXQLEN: return answer("queue " + std::to_string(argument.ifr_qlen), [] {});
            case SIOCGIFFLAGS:
                return answer(
                    "get_flags", [&] { argument.ifr_flags = flags; }, false);
            case SIOCSIFFLAGS:
                return answer(
                    "set_flags", [&] { flags = argument.ifr_flags; }, false);
            default:
                return answer(
                    "index", [&] { argument.ifr_ifindex = 5; }, false);
        }
    }
    int bind(int, const sockaddr_can& address) override
    {
        return answer(
            "bind " + std::to_string(address.can_ifindex), [] {}, false);
    }
    void close(int) override
    {
        --open;
        errno = 0;
    }

    std::string calls() { return std::exchange(calls_, {}); }

    const char* driver = "flexcan";
    can_bittiming timing = {};
    int state = CAN_STATE_ERROR_ACTIVE;
    short flags = IFF_NOARP;
    int open = 0;
    std::set<std::string> failing; ///< by the first word; "all" stands for every one

private:
    int answer(const std::string& call, const std::function<void()>& act, bool noted = true)
    {
        if (noted) {
            calls_ += call + ", ";
        }
        if (failing.count(call.substr(0, call.find(' '))) != 0 || failing.count("all") != 0) {
            errno = ENODEV;
            return -1;
        }
        act();
        return 0;
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

TEST_F(Netlink_priv_test, a_stopped_interface_is_not_stopped_again)
{
    link.state = CAN_STATE_STOPPED;
    construct();
    EXPECT_EQ(link.calls(), "set 250000 800 1, start, " + restart);
}

TEST_F(Netlink_priv_test, a_new_bit_rate_is_applied_at_once)
{
    testing::internal::CaptureStdout();
    Netlink_priv netlink("can1", 250000, link);
    link.calls();
    netlink.setBitrate(500000);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(link.calls(), "stop, set 500000 800 1, start, ");
    EXPECT_TRUE(netlink.isConfigurationCorrect());
    link.timing.sjw = 2;
    EXPECT_FALSE(netlink.isConfigurationCorrect());
}

TEST_F(Netlink_priv_test, a_missing_interface_is_told_once_for_each_call)
{
    link.failing = {"all"};
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
    construct();
    Netlink_priv netlink("can1", 250000, link);
    const struct {
        const char* failing;
        const char* message;
        int result;
    } rows[] = {
        {"stop", "Netlink_priv::setRestartMS: Channel: can1, Error taking the interface down.\n", 0},
        {"restart",
         "Netlink_priv::setRestartMS: Channel: can1, Error setting the restart-ms value : No such device\n", -1},
        {"start", "Netlink_priv::setRestartMS: Channel: can1, Error bringing the interface up.\n", -1},
    };
    for (const auto& row : rows) {
        link.calls();
        link.state = CAN_STATE_ERROR_ACTIVE;
        link.failing = {row.failing};
        EXPECT_EQ(printed([&] { EXPECT_EQ(netlink.setRestartMS(), row.result); }), row.message);
        EXPECT_EQ(link.calls(), "stop, restart 100, start, ");
    }
}

TEST_F(Netlink_priv_test, the_interface_goes_down_and_up_with_its_other_flags_kept)
{
    Netlink_priv netlink("can1", 250000, link);
    EXPECT_TRUE(netlink.resetInterface());
    EXPECT_EQ(link.flags, IFF_NOARP | IFF_UP);
    EXPECT_TRUE(netlink.getInterfaceUp("can1"));
    EXPECT_TRUE(netlink.setInterfaceUp("can1", false));
    EXPECT_EQ(link.flags, IFF_NOARP);
    for (const char* call : {"get_flags", "set_flags", "open_socket"}) {
        link.failing = {call};
        const std::string output = printed([&] { EXPECT_FALSE(netlink.resetInterface()); });
        EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1) << call;
    }
    EXPECT_EQ(link.open, 0);
}

TEST_F(Netlink_priv_test, a_socket_is_bound_or_closed)
{
    Netlink_priv netlink("can1", 250000, link);
    for (const char* call : {"open_socket", "index", "bind"}) {
        link.failing = {call};
        EXPECT_EQ(netlink.openSocket(), -1);
        EXPECT_EQ(errno, ENODEV) << call;
        EXPECT_EQ(link.open, 0);
    }
    link.failing.clear();
    EXPECT_EQ(netlink.openSocket(), 3);
    EXPECT_EQ(link.open, 1);
}

} // namespace
} // namespace qv::platform
