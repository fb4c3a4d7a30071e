#pragma once

#include <chrono>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace harness {

/// A TCP connection to a port of this machine that speaks bytes.
class Raw_connection {
public:
    /// One with a small `receive_buffer` is full soon when nobody reads; 0 leaves the system's.
    explicit Raw_connection(std::uint16_t port, int receive_buffer = 0)
    {
        if (receive_buffer != 0) {
            ::setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            ::close(socket_);
            throw std::runtime_error("nobody listens on port " + std::to_string(port));
        }
    }
    ~Raw_connection() { ::close(socket_); }
    Raw_connection(const Raw_connection&) = delete;
    Raw_connection& operator=(const Raw_connection&) = delete;

    /// Whether all of it went out.
    bool send(std::string_view bytes) const
    {
        return ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == std::ssize(bytes);
    }
    /// So many bytes, or fewer when nothing more comes for this time or the other side ends it.
    std::string receive(std::size_t count, std::chrono::milliseconds limit) const
    {
        std::string bytes(count, '\0');
        std::size_t fill = 0;
        pollfd polled{socket_, POLLIN, 0};
        while (fill < count && ::poll(&polled, 1, static_cast<int>(limit.count())) == 1) {
            const auto got = ::recv(socket_, bytes.data() + fill, count - fill, 0);
            if (got <= 0) {
                break;
            }
            fill += static_cast<std::size_t>(got);
        }
        bytes.resize(fill);
        return bytes;
    }
    /// Sends again and again until nothing more goes out for a second.
    void send_until_full(const std::string& bytes) const
    {
        pollfd polled{socket_, POLLOUT, 0};
        while (::poll(&polled, 1, 1000) > 0 && (polled.revents & (POLLERR | POLLHUP)) == 0) {
            (void)::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        }
    }
    /// Whether the other side ends it within this time.
    bool is_ended(std::chrono::milliseconds limit) const
    {
        pollfd polled{socket_, POLLIN, 0};
        char bytes[4096];
        while (::poll(&polled, 1, static_cast<int>(limit.count())) > 0) {
            if (::recv(socket_, bytes, sizeof bytes, 0) <= 0) {
                return true;
            }
        }
        return false;
    }
    /// Goes away at once and without a farewell.
    void break_off() const
    {
        const linger at_once{1, 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    }

private:
    const int socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

} // namespace harness
