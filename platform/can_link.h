#pragma once

#include <cstdint>

#include <linux/can.h>
#include <linux/can/netlink.h>
#include <net/if.h>

namespace qv::platform {

/// The calls by which a CAN network interface is controlled, so that a test can stand in for the system.
///
/// Results are those of the system: 0 on success, -1 on failure with the reason in `errno`. The library that
/// speaks netlink also tells each failure on standard error, in its own words.
class Can_link {
public:
    virtual ~Can_link() = default;

    /// By netlink. `state` is one of `can_state`; times are milliseconds.
    virtual int get_state(const char* name, int& state) = 0;
    virtual int stop(const char* name) = 0;
    virtual int start(const char* name) = 0;
    virtual int set_restart_ms(const char* name, std::uint32_t milliseconds) = 0;
    virtual int get_bittiming(const char* name, can_bittiming& timing) = 0;
    virtual int get_bittiming_const(const char* name, can_bittiming_const& limits) = 0;
    virtual int set_bittiming(const char* name, can_bittiming& timing) = 0;

    /// By a raw CAN socket.
    virtual int open_socket() = 0;
    virtual int control(int socket, unsigned long request, ifreq& argument) = 0;
    virtual int bind(int socket, const sockaddr_can& address) = 0;
    virtual void close(int socket) = 0;
};

/// The real interfaces of this machine.
Can_link& system_can_link() noexcept;

} // namespace qv::platform
