#include "platform/can_link.h"

#include <cerrno>
#include <cstdio>
#include <cwchar>

#include <libsocketcan.h>
#include <linux/can/raw.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qv::platform {

namespace {

/// A read that failed. The library leaves `errno` alone for an interface that has no such attribute.
int with_reason(int result)
{
    if (result != 0 && errno == 0) {
        errno = EOPNOTSUPP;
    }
    return result;
}

class System_can_link final : public Can_link {
public:
    /// The library tells what fails by `perror` too, whose first call loses `errno` while the stream has no
    /// orientation yet.
    System_can_link() { std::fwide(stderr, -1); }

    int get_state(const char* name, int& state) override
    {
        errno = 0;
        return with_reason(can_get_state(name, &state));
    }
    int stop(const char* name) override { return can_do_stop(name); }
    int start(const char* name) override { return can_do_start(name); }
    int set_restart_ms(const char* name, std::uint32_t milliseconds) override
    {
        return can_set_restart_ms(name, milliseconds);
    }
    int get_bittiming(const char* name, can_bittiming& timing) override
    {
        errno = 0;
        return with_reason(can_get_bittiming(name, &timing));
    }
    int get_bittiming_const(const char* name, can_bittiming_const& limits) override
    {
        errno = 0;
        return with_reason(can_get_bittiming_const(name, &limits));
    }
    int set_bittiming(const char* name, can_bittiming& timing) override
    {
        return can_set_bittiming(name, &timing);
    }

    int open_socket() override { return ::socket(AF_CAN, SOCK_RAW | SOCK_CLOEXEC, CAN_RAW); }
    int control(int socket, unsigned long request, ifreq& argument) override
    {
        return ::ioctl(socket, request, &argument);
    }
    int bind(int socket, const sockaddr_can& address) override
    {
        return ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
    void close(int socket) override { ::close(socket); }
};

} // namespace

Can_link& system_can_link() noexcept
{
    static System_can_link link;
    return link;
}

} // namespace qv::platform
