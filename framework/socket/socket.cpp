#include "framework/socket/socket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "framework/socket/address.h"

namespace qv::socket {

namespace {

using Guard = std::lock_guard<thread::Mutex>;

sockaddr_in make_address(Address address, int family, std::uint16_t port)
{
    sockaddr_in result{};
    result.sin_family = static_cast<sa_family_t>(family);
    result.sin_port = htons(port);
    result.sin_addr.s_addr = address;
    return result;
}

sockaddr* generic(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }

void log_failure(log::Client client, const char* failure)
{
    log::write(1, client, "%s, error %d", failure, errno);
}

/// Repeats a call that a signal handler interrupted.
template <class Call> auto uninterrupted(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace

/// Owns a descriptor. It is closed when the last call that uses it has ended.
class Socket::Connection {
public:
    Connection(int descriptor, bool logging, log::Client client) noexcept
        : descriptor_(descriptor)
        , logging_(logging)
        , client_(client)
    {}
    ~Connection()
    {
        if (::close(descriptor_) != 0 && logging_) {
            log_failure(client_, "close failed");
        }
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int descriptor() const noexcept { return descriptor_; }
    /// Ends the waits of all threads on it.
    void shut_down() const { ::shutdown(descriptor_, SHUT_RDWR); }

private:
    int descriptor_;
    bool logging_;
    log::Client client_;
};

Socket::Socket(bool logging, std::string description)
    : logging_(logging)
    , description_(std::move(description))
{
    if (logging_) {
        std::array<char, 48> name;
        std::snprintf(name.data(), name.size(), "socket %p  %s", static_cast<void*>(this), description_.c_str());
        log_client_ = log::register_client(name.data());
    }
}

Socket::~Socket() { close(); }

bool Socket::open(Address address, int family, std::uint16_t port, bool blocking_during_connect,
                  bool blocking_afterwards, bool no_delay)
{
    close();
    const auto made = make_connection(family);
    if (made == nullptr || !apply_blocking(*made, blocking_during_connect)) {
        return false;
    }
    sockaddr_in peer = make_address(address, family, port);
    if (!note(::connect(made->descriptor(), generic(peer), sizeof peer)) && errno != EINPROGRESS) {
        return false;
    }
    if (!apply_no_delay(*made, no_delay) || !apply_blocking(*made, blocking_afterwards)) {
        return false;
    }
    publish(made, peer);
    return true;
}

bool Socket::listen_on(Address address, int family, std::uint16_t port, bool blocking, bool no_delay)
{
    close();
    const auto made = make_connection(family);
    sockaddr_in local = make_address(address, family, port);
    if (made == nullptr || !bind_and_listen(*made, local) || !apply_no_delay(*made, no_delay) ||
        !apply_blocking(*made, blocking)) {
        return false;
    }
    publish(made, local);
    return true;
}

bool Socket::accept(Socket& target)
{
    target.close();
    const auto listening = connection();
    if (listening == nullptr) {
        return false;
    }
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    const int descriptor =
        uninterrupted([&] { return ::accept4(listening->descriptor(), generic(peer), &length, SOCK_CLOEXEC); });
    if (!note(descriptor)) {
        return false;
    }
    target.publish(std::make_shared<Connection>(descriptor, target.logging_, target.log_client_), peer);
    return true;
}

bool Socket::is_open() const { return connection() != nullptr; }

bool Socket::read(std::uint8_t* buffer, std::size_t& size)
{
    const std::size_t wanted = std::exchange(size, 0);
    const auto open = connection();
    if (open == nullptr || wanted == 0) {
        return open != nullptr;
    }
    const ssize_t count = uninterrupted([&] { return ::recv(open->descriptor(), buffer, wanted, 0); });
    const int error = errno;
    note(static_cast<int>(count));
    if (count > 0) {
        size = static_cast<std::size_t>(count);
        return true;
    }
    return count < 0 && (error == EAGAIN || error == EWOULDBLOCK);
}

bool Socket::write(const std::uint8_t* bytes, std::size_t size, std::size_t& written)
{
    written = 0;
    const auto open = connection();
    if (open == nullptr) {
        return false;
    }
    while (written < size) {
        const ssize_t count = uninterrupted(
            [&] { return ::send(open->descriptor(), bytes + written, size - written, MSG_NOSIGNAL); });
        note(static_cast<int>(count));
        if (count < 1) {
            return false;
        }
        written += static_cast<std::size_t>(count);
    }
    return true;
}

bool Socket::write(const std::uint8_t* bytes, std::size_t size)
{
    std::size_t written = 0;
    return write(bytes, size, written);
}

bool Socket::wait_readable(std::uint32_t milliseconds)
{
    const auto open = connection();
    if (open == nullptr) {
        return false;
    }
    // Not `select`, which has no room for high descriptors.
    pollfd wanted{open->descriptor(), POLLIN, 0};
    constexpr std::uint32_t longest = std::numeric_limits<int>::max();
    const int count = ::poll(&wanted, 1, static_cast<int>(std::min(milliseconds, longest)));
    note(count);
    return count > 0;
}

bool Socket::set_blocking(bool blocking)
{
    const auto open = connection();
    return open != nullptr && apply_blocking(*open, blocking);
}

bool Socket::set_no_delay(bool enabled)
{
    const auto open = connection();
    return open != nullptr && apply_no_delay(*open, enabled);
}

void Socket::close()
{
    std::shared_ptr<Connection> closing;
    {
        const Guard guard(mutex_);
        closing.swap(connection_);
    }
    if (closing != nullptr) {
        closing->shut_down();
    }
}

std::string Socket::address_text() const
{
    Address address = 0;
    {
        const Guard guard(mutex_);
        address = address_.sin_addr.s_addr;
    }
    return socket::address_text(address) + ":" + std::to_string(port());
}

std::uint16_t Socket::port() const
{
    const Guard guard(mutex_);
    return ntohs(address_.sin_port);
}

std::shared_ptr<Socket::Connection> Socket::connection() const
{
    const Guard guard(mutex_);
    return connection_;
}

std::shared_ptr<Socket::Connection> Socket::make_connection(int family)
{
    const int descriptor = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    return note(descriptor, "socket failed") ? std::make_shared<Connection>(descriptor, logging_, log_client_)
                                             : nullptr;
}

void Socket::publish(std::shared_ptr<Connection> connection, const sockaddr_in& address)
{
    const Guard guard(mutex_);
    connection_ = std::move(connection);
    address_ = address;
}

bool Socket::apply_blocking(const Connection& connection, bool blocking)
{
    const int flags = ::fcntl(connection.descriptor(), F_GETFL);
    if (!note(flags, "set_blocking failed")) {
        return false;
    }
    const int wanted = blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK;
    return note(::fcntl(connection.descriptor(), F_SETFL, wanted), "set_blocking failed");
}

bool Socket::apply_no_delay(const Connection& connection, bool enabled)
{
    const int value = enabled ? 1 : 0;
    return note(::setsockopt(connection.descriptor(), IPPROTO_TCP, TCP_NODELAY, &value, sizeof value));
}

/// Fills in the port that the system chose.
bool Socket::bind_and_listen(const Connection& connection, sockaddr_in& address)
{
    const int descriptor = connection.descriptor();
    const int reuse = 1;
    constexpr int backlog = 3;
    socklen_t length = sizeof address;
    return note(::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse)) &&
           note(::bind(descriptor, generic(address), sizeof address), "bind failed") &&
           note(::listen(descriptor, backlog), "listen failed") &&
           note(::getsockname(descriptor, generic(address), &length));
}

/// Keeps the result of a system call and reports a negative one when it has a text for it.
bool Socket::note(int result, const char* failure)
{
    result_ = result;
    if (result < 0 && failure != nullptr && logging_) {
        log_failure(log_client_, failure);
    }
    return result >= 0;
}

} // namespace qv::socket
