#include "platform/netlink_priv.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>

#include <linux/sockios.h>

namespace qv::platform {

namespace {

constexpr std::uint32_t restart_ms = 100;
constexpr int tx_queue_length = 150;
constexpr std::uint32_t jump_width = 1;

/// Sample points in tenths of a percent. The kernel rounds what is asked for to what the controller can reach, so
/// that it reads back another value.
struct Sample_point {
    const char* driver;
    std::uint32_t requested;
    std::uint32_t expected;
};

// clang-format off
constexpr Sample_point sample_points[] = {
    {"flexcan",    800, 800},
    {"mcp251x",    800, 800},
    {"sja1000",    813, 812},
    {"systec_can", 813, 812},
    {"",           800, 800}, // any other
};
// clang-format on

const Sample_point& sample_point_of(const can_bittiming_const& limits)
{
    const auto* last = std::end(sample_points) - 1;
    return *std::find_if(std::begin(sample_points), last, [&](const Sample_point& row) {
        return std::strncmp(row.driver, limits.name, sizeof limits.name) == 0;
    });
}

ifreq request_for(const char* interface_name)
{
    ifreq request = {};
    std::strncpy(request.ifr_name, interface_name, sizeof request.ifr_name - 1);
    return request;
}

} // namespace

Netlink_priv::Netlink_priv(const char* interface_name, std::uint32_t bits_per_second, Can_link& link)
    : name(interface_name)
    , bitrate(bits_per_second)
    , link_(link)
{
    updateBitTiming();
    setRestartMS();
    setTxQueueLength();
}

void Netlink_priv::setBitrate(std::uint32_t value)
{
    bitrate = value;
    updateBitTiming();
}

bool Netlink_priv::isConfigurationCorrect()
{
    can_bittiming timing = {};
    can_bittiming_const limits = {};
    if (link_.get_bittiming(name, timing) != 0) {
        std::printf("Netlink_priv::isConfigurationCorrect: Channel: %s, can_get_bittiming failed : %s\n", name,
                    std::strerror(errno));
    }
    if (link_.get_bittiming_const(name, limits) != 0) {
        std::printf("Netlink_priv::isConfigurationCorrect: Channel: %s, can_get_bittiming_const failed : %s\n",
                    name, std::strerror(errno));
    }
    return timing.bitrate == bitrate && timing.sample_point == sample_point_of(limits).expected &&
           timing.sjw == jump_width;
}

void Netlink_priv::updateBitTiming()
{
    can_bittiming timing = {}; // read to tell a failure; `isConfigurationCorrect` reads it anew
    can_bittiming_const limits = {};
    if (link_.get_bittiming(name, timing) != 0) {
        std::printf("Netlink_priv::updateBitTiming: Channel: %s, can_get_bittiming failed :%s\n ", name,
                    std::strerror(errno));
    }
    if (link_.get_bittiming_const(name, limits) != 0) {
        std::printf("Netlink_priv::updateBitTiming: Channel: %s, can_get_bittiming_const failed : %s\n", name,
                    std::strerror(errno));
    }
    if (isConfigurationCorrect()) {
        std::printf("Channel: %s bittiming has not changed - no reset necessary\n", name);
        return;
    }
    std::printf("Channel: %s bittiming has changed - updating and resetting\n", name);
    stopForBitTiming();
    setBitTiming(sample_point_of(limits).requested);
    if (link_.start(name) != 0) {
        std::printf("Netlink_priv::updateBitTiming: Channel: %s, can_do_start failed : %s\n", name,
                    std::strerror(errno));
    }
}

void Netlink_priv::stopForBitTiming()
{
    int state = 0;
    if (link_.get_state(name, state) != 0) {
        std::printf("Netlink_priv::updateBitTiming: Channel: %s, Error checking can device state.\n", name);
    }
    if (state != CAN_STATE_STOPPED && link_.stop(name) != 0) {
        std::printf("Netlink_priv::updateBitTiming: Channel: %s, can_do_stop failed : %s\n", name,
                    std::strerror(errno));
    }
}

/// The kernel calculates all that stays 0.
void Netlink_priv::setBitTiming(std::uint32_t sample_point)
{
    can_bittiming wanted = {};
    wanted.bitrate = bitrate;
    wanted.sample_point = sample_point;
    wanted.sjw = jump_width;
    const bool failed = link_.set_bittiming(name, wanted) != 0;
    const int reason = errno;
    can_bittiming reached = {}; // what the kernel made of it; nothing depends on it
    link_.get_bittiming(name, reached);
    if (failed) {
        std::printf("Netlink_priv::updateBitTiming: Channel: %s, can_set_bitrate failed : %s\n", name,
                    std::strerror(reason));
    }
}

int Netlink_priv::setRestartMS()
{
    int state = 0;
    if (link_.get_state(name, state) != 0) {
        std::printf("Netlink_priv::setRestartMS: Channel: %s , Error checking can device state.\n", name);
        return -1;
    }
    if (state != CAN_STATE_STOPPED && link_.stop(name) != 0) {
        std::printf("Netlink_priv::setRestartMS: Channel: %s, Error taking the interface down.\n", name);
    }
    int result = link_.set_restart_ms(name, restart_ms);
    if (result != 0) {
        std::printf("Netlink_priv::setRestartMS: Channel: %s, Error setting the restart-ms value : %s\n", name,
                    std::strerror(errno));
    }
    if (link_.start(name) != 0) {
        std::printf("Netlink_priv::setRestartMS: Channel: %s, Error bringing the interface up.\n", name);
        result = -1;
    }
    return result;
}

int Netlink_priv::control(unsigned long request, ifreq& argument)
{
    const int socket = link_.open_socket();
    if (socket < 0) {
        return -1;
    }
    const int result = link_.control(socket, request, argument);
    const int reason = errno;
    link_.close(socket);
    errno = reason;
    return result;
}

int Netlink_priv::setTxQueueLength()
{
    ifreq request = request_for(name);
    request.ifr_qlen = tx_queue_length;
    const int result = control(SIOCSIFTXQLEN, request);
    if (result != 0) {
        std::printf("Netlink_priv::setTxQueueLength: Channel: %s, Error setting the TX Queue Length : %s \n", name,
                    std::strerror(errno));
    }
    return result;
}

bool Netlink_priv::getInterfaceUp(const char* interface_name)
{
    ifreq request = request_for(interface_name);
    if (control(SIOCGIFFLAGS, request) != 0) {
        std::printf(
            "Netlink_priv::getInterfaceUp: Channel: %s, Error getting the active word flags (ifr_flags) %s \n",
            interface_name, std::strerror(errno));
        return false;
    }
    return (request.ifr_flags & IFF_UP) != 0;
}

bool Netlink_priv::setInterfaceUp(const char* interface_name, bool up)
{
    ifreq request = request_for(interface_name);
    if (control(SIOCGIFFLAGS, request) != 0) {
        std::printf(
            "Netlink_priv::setInterfaceUp: Channel: %s, Error getting the active word flags (ifr_flags) %s\n",
            interface_name, std::strerror(errno));
        return false;
    }
    request.ifr_flags = static_cast<short>(up ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP);
    if (control(SIOCSIFFLAGS, request) != 0) {
        std::printf(
            "Netlink_priv::setInterfaceUp: Channel: %s, Error setting the active word flags (ifr_flags) %s \n",
            interface_name, std::strerror(errno));
        return false;
    }
    return true;
}

bool Netlink_priv::resetInterface() { return setInterfaceUp(name, false) && setInterfaceUp(name, true); }

int Netlink_priv::openSocket()
{
    const int socket = link_.open_socket();
    if (socket < 0) {
        return -1;
    }
    ifreq request = request_for(name);
    sockaddr_can address = {};
    address.can_family = AF_CAN;
    if (link_.control(socket, SIOCGIFINDEX, request) == 0) {
        address.can_ifindex = request.ifr_ifindex;
        if (link_.bind(socket, address) == 0) {
            return socket;
        }
    }
    const int reason = errno;
    link_.close(socket);
    errno = reason;
    return -1;
}

} // namespace qv::platform
