#pragma once

#include <cstdint>

#include "platform/can_link.h"

namespace qv::platform {

/// Sets a SocketCAN interface up: bit rate, sample point, automatic restart and transmit queue.
///
/// It exists only when the service owns the interface. No failure stops anything: each is told on standard
/// output, and a wrong bit rate shows as a silent bus.
/// Thread: the bus thread. Lifetime: `name` and `link` outlive it.
class Netlink_priv {
public:
    /// Applies all settings. `bitrate` is in bits per second.
    Netlink_priv(const char* name, std::uint32_t bitrate, Can_link& link = system_can_link());

    std::uint32_t getBitrate() const noexcept { return bitrate; }
    void setBitrate(std::uint32_t value);
    /// Whether the interface has the bit rate, and the sample point and jump width that belong to it.
    bool isConfigurationCorrect();
    /// Sets the bit timing, unless it is correct already: the interface is stopped and started for it.
    void updateBitTiming();
    /// Lets the controller restart by itself after a bus off. 0 on success, else the failure.
    int setRestartMS();
    /// 0 on success, else the result of `ioctl`.
    int setTxQueueLength();

    bool getInterfaceUp(const char* interface_name);
    bool setInterfaceUp(const char* interface_name, bool up);
    /// Takes the interface down and up again. False at the first failure.
    bool resetInterface();
    /// A raw socket bound to the interface, which the caller closes; -1, with `errno`, on failure.
    int openSocket();

private:
    /// One `ioctl` for the interface in `argument`, on a socket of its own.
    int control(unsigned long request, ifreq& argument);
    void stopForBitTiming();
    void setBitTiming(std::uint32_t sample_point);

    const char* name;
    std::uint32_t bitrate;
    Can_link& link_;
};

} // namespace qv::platform
