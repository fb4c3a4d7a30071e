#include "bench/wire/client.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {
namespace {

constexpr std::size_t out_maximum = 4U * 1024U * 1024U;

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Addresses resolve(const std::string& host, std::uint16_t port)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
        found = nullptr;
    }
    return {found, &freeaddrinfo};
}

int start_connect(const addrinfo& address)
{
    const int made = socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (made < 0) {
        return -1;
    }
    const int on = 1;
    (void)setsockopt(made, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (connect(made, address.ai_addr, address.ai_addrlen) == 0 || errno == EINPROGRESS) {
        return made;
    }
    ::close(made);
    return -1;
}

bool would_block() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

} // namespace

short Client::events() const noexcept
{
    switch (state_) {
        case State::waiting: return 0;
        case State::connecting: return POLLOUT;
        case State::connected: break;
    }
    return static_cast<short>(out_.empty() ? POLLIN : POLLIN | POLLOUT);
}

Client::Time Client::next_attempt() const noexcept { return state_ == State::waiting ? retry_at_ : Time::max(); }

Client::Change Client::on_poll(short revents, Time now, const Receive& receive)
{
    if (state_ == State::waiting) {
        attempt(now);
        return Change::none;
    }
    if (revents == 0) {
        return Change::none;
    }
    if (state_ == State::connecting) {
        finish_attempt(now);
        return connected() ? Change::established : Change::none;
    }
    if (read(receive) && flush()) {
        return Change::none;
    }
    retry_later(now);
    return Change::terminated;
}

void Client::attempt(Time now)
{
    if (now < retry_at_) {
        return;
    }
    const Addresses addresses = resolve(host_, port_);
    for (const addrinfo* each = addresses.get(); each != nullptr && socket_ < 0; each = each->ai_next) {
        socket_ = start_connect(*each);
    }
    if (socket_ < 0) {
        return retry_later(now);
    }
    state_ = State::connecting;
}

void Client::finish_attempt(Time now)
{
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(socket_, SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0) {
        return retry_later(now);
    }
    state_ = State::connected;
}

/// False when the router is gone.
bool Client::read(const Receive& receive)
{
    std::array<std::uint8_t, 16384> buffer; // NOLINT: filled by recv
    const ssize_t count = recv(socket_, buffer.data(), buffer.size(), 0);
    if (count <= 0) {
        return count < 0 && would_block();
    }
    in_.insert(in_.end(), buffer.begin(), buffer.begin() + count);
    std::size_t used = 0;
    for (; in_.size() - used >= record_size; used += record_size) {
        if (const auto record = decode(std::span(in_).subspan(used))) {
            receive(*record);
        }
    }
    in_.erase(in_.begin(), in_.begin() + static_cast<std::ptrdiff_t>(used));
    return true;
}

bool Client::send(const Record& record)
{
    if (!connected() || out_.size() > out_maximum) {
        return false;
    }
    const Record_bytes bytes = encode(record);
    out_.insert(out_.end(), bytes.begin(), bytes.end());
    return flush();
}

/// False when the router is gone; `on_poll` closes then, since poll keeps on telling.
bool Client::flush()
{
    if (out_.empty()) {
        return true;
    }
    const ssize_t count = ::send(socket_, out_.data(), out_.size(), MSG_NOSIGNAL);
    if (count < 0) {
        return would_block();
    }
    out_.erase(out_.begin(), out_.begin() + count);
    return true;
}

void Client::retry_later(Time now) noexcept
{
    close();
    retry_at_ = now + retry_pause;
}

void Client::close() noexcept
{
    if (socket_ >= 0) {
        ::close(socket_);
    }
    socket_ = -1;
    state_ = State::waiting;
    in_.clear();
    out_.clear();
}

} // namespace bench
