#include "platform/can_link.h"

#include <libsocketcan.h>
#include <linux/can/raw.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qv::platform {

namespace {

class System_can_link final : public Can_link {
public:
    int get_state(const char* name, int& state) override { return can_get_state(name, &state); }
    int stop(const char* name) override { return can_do_stop(name); }
    int start(const char* name) override { return can_do_start(name); }
    int set_restart_ms(const char* name, std::uint32_t milliseconds) override
    {
        return can_set_restart_ms(name, milliseconds);
    }
    int get_bittiming(const char* name, can_bittiming& timing) override
    {
        return can_get_bittiming(name, &timing);
    }
    int get_bittiming_const(const char* name, can_bittiming_const& limits) override
    {
        return can_get_bittiming_const(name, &limits);
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
