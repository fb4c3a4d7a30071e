#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include <linux/can/j1939.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "bench/harness/can_interfaces.h"
#include "bench/harness/process.h"

namespace harness {

/// A control function of the kernel's own J1939 stack: j1939acd keeps its address, and a socket is its voice and
/// ear.
class Kernel_peer {
public:
    static constexpr std::uint64_t name = 0x2000820012E00007;
    static constexpr std::uint8_t address = 0x90;

    /// Why there can be none on this interface; empty when there can.
    static std::string obstacle(const char* interface)
    {
        const int probe = ::socket(PF_CAN, SOCK_DGRAM, CAN_J1939);
        ::close(probe);
        return probe < 0 ? "this kernel has no J1939 stack" : harness::obstacle({interface});
    }

    explicit Kernel_peer(const std::string& interface)
        : interface_(interface)
        , claimer_({"/usr/bin/j1939acd", "-v", "-r", "0x90", "-a", "0x90", "2000820012E00007", interface})
        , socket_(::socket(PF_CAN, SOCK_DGRAM, CAN_J1939))
    {
        const int enabled = 1;
        const timeval limit{120, 0};
        const auto own = place(address, J1939_NO_PGN);
        if (!claimer_.says("claimed 0x90") ||
            ::setsockopt(socket_, SOL_SOCKET, SO_BROADCAST, &enabled, sizeof enabled) != 0 ||
            ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0 ||
            ::setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0 ||
            ::bind(socket_, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
            throw std::runtime_error("no peer in the kernel: " + claimer_.output());
        }
    }
    ~Kernel_peer() { ::close(socket_); }
    Kernel_peer(const Kernel_peer&) = delete;
    Kernel_peer& operator=(const Kernel_peer&) = delete;

    /// To an address, 255 is all; returns when the kernel has taken the last byte.
    bool send(std::uint8_t destination, std::uint32_t pgn, const std::string& payload) const
    {
        const auto there = place(destination, pgn);
        const auto sent = ::sendto(socket_, payload.data(), payload.size(), 0,
                                   reinterpret_cast<const sockaddr*>(&there), sizeof there);
        return sent == static_cast<ssize_t>(payload.size());
    }
    /// The next message of this group; empty when none of up to `size_maximum` bytes comes.
    std::string receive(std::uint32_t pgn, std::size_t size_maximum) const
    {
        std::string payload(size_maximum + 1, '\0');
        sockaddr_can sender{};
        socklen_t length = sizeof sender;
        ssize_t size = 0;
        do {
            size = ::recvfrom(socket_, payload.data(), payload.size(), 0, reinterpret_cast<sockaddr*>(&sender),
                              &length);
        } while (size >= 0 && sender.can_addr.j1939.pgn != pgn);
        payload.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return payload;
    }

private:
    sockaddr_can place(std::uint8_t where, std::uint32_t pgn) const
    {
        sockaddr_can result{};
        result.can_family = AF_CAN;
        result.can_ifindex = static_cast<int>(::if_nametoindex(interface_.c_str()));
        result.can_addr.j1939.name = J1939_NO_NAME;
        result.can_addr.j1939.addr = where;
        result.can_addr.j1939.pgn = pgn;
        return result;
    }

    std::string interface_;
    Process claimer_;
    int socket_;
};

} // namespace harness
