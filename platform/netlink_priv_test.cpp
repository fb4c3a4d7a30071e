#include "platform/netlink_priv.h"

#include <cstring>

#include <gtest/gtest.h>
#include <linux/sockios.h>

namespace qv::platform {
namespace {

/// An interface that notes what changes it.
class Fake_link final : public Can_link {
public:
    int get_state(const char*, int& value) override { return value = state, result("get_state"); }
    int stop(const char*) override { return state = CAN_STATE_STOPPED, note("stop"); }
    int start(const char*) override { return state = CAN_STATE_ERROR_ACTIVE, note("start"); }
    int set_restart_ms(const char*, std::uint32_t ms) override { return note("restart", ms); }
    int get_bittiming(const char*, can_bittiming& to) override { return to = timing, result("get_bittiming"); }
    int get_bittiming_const(const char*, can_bittiming_const& to) override
    {
        return std::strcpy(to.name, driver), result("get_bittiming_const");
    }
    int set_bittiming(const char*, can_bittiming& to) override
    {
        return timing = to, note("set", to.bitrate, to.sample_point, to.sjw);
    }
    int open_socket() override { return result("open_socket") == 0 ? ++open : -1; }
    int control(int, unsigned long request, ifreq& argument) override
    {
        switch (request) {
            case SIOCSIFTXQLEN: return note("queue", argument.ifr_qlen);
            case SIOCGIFFLAGS: return argument.ifr_flags = flags, result("get_flags");
            case SIOCSIFFLAGS: return flags = argument.ifr_flags, result("set_flags");
            default: return argument.ifr_ifindex = 5, result("index");
        }
    }
    int bind(int, const sockaddr_can& address) override { return address.can_ifindex == 5 ? result("bind") : -1; }
    void close(int) override { errno = 0, --open; }

    const char* driver = "flexcan";
    can_bittiming timing = {};
    int state = CAN_STATE_ERROR_ACTIVE;
    short flags = IFF_NOARP;
    int open = 0;
    std::string failing; ///< the call that fails
    std::string calls;

private:
    int result(const std::string& call) { return errno = ENODEV, failing == call ? -1 : 0; }
    template <class... Arguments> int note(const std::string& call, Arguments... arguments)
    {
        calls += (call + ... + (' ' + std::to_string(arguments))) + ", ";
        return result(call);
    }
};

struct Netlink_priv_test : testing::Test {
    /// What the constructor prints; `link.calls` tells what it did.
    std::string construct()
    {
        link.calls.clear();
        testing::internal::CaptureStdout();
        Netlink_priv("can1", 250000, link);
        return testing::internal::GetCapturedStdout();
    }

    Fake_link link;
};

TEST_F(Netlink_priv_test, the_driver_decides_on_the_sample_point_and_only_a_wrong_timing_is_set)
{
    // clang-format off
    const struct { const char *driver, *requested; std::uint32_t expected; } rows[] = {
        {"flexcan", "800", 800}, {"mcp251x", "800", 800}, {"sja1000", "813", 812}, {"systec_can", "813", 812},
        {"sja1000x", "800", 800}, {"", "800", 800}};
    // clang-format on
    const std::string restart = "stop, restart 100, start, queue 150, ";
    for (const auto& row : rows) {
        link.driver = row.driver;
        link.timing = {};
        EXPECT_EQ(construct(), "Channel: can1 bittiming has changed - updating and resetting\n");
        EXPECT_EQ(link.calls, "stop, set 250000 " + std::string(row.requested) + " 1, start, " + restart);
        link.timing.sample_point = row.expected;
        EXPECT_EQ(construct(), "Channel: can1 bittiming has not changed - no reset necessary\n");
        EXPECT_EQ(link.calls, restart);
    }
    link.timing.sjw = 2;
    link.state = CAN_STATE_STOPPED;
    construct();
    EXPECT_EQ(link.calls, "set 250000 800 1, start, " + restart); // nothing to stop before it is set
}

TEST_F(Netlink_priv_test, a_failed_call_is_answered_and_loses_no_socket)
{
    Netlink_priv netlink("can1", 250000, link);
    for (const char* call : {"stop", "restart", "start"}) {
        link.calls.clear();
        link.failing = call;
        EXPECT_EQ(netlink.setRestartMS(), call == std::string("stop") ? 0 : -1);
        EXPECT_EQ(link.calls, "stop, restart 100, start, ");
    }
    for (const char* call : {"get_flags", "set_flags", "open_socket", "index", "bind"}) {
        link.failing = call;
        EXPECT_FALSE(netlink.resetInterface() && netlink.openSocket() != -1) << call;
    }
    EXPECT_TRUE(errno == ENODEV && link.open == 0); // the reason of the bind, though a close came behind it
    link.failing.clear();
    EXPECT_TRUE(netlink.openSocket() == 1 && netlink.resetInterface() && netlink.getInterfaceUp("can1"));
    EXPECT_EQ(link.flags, IFF_NOARP | IFF_UP);
}

} // namespace
} // namespace qv::platform
