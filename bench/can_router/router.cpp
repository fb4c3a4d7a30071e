#include "bench/can_router/router.h"

#include <algorithm>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {

namespace {

Arbiter::Time clock_now() { return std::chrono::steady_clock::now().time_since_epoch(); }

/// What is left until `due`, for ppoll; null waits without limit.
const timespec* time_left(std::optional<Arbiter::Time> due, timespec& storage)
{
    if (!due) {
        return nullptr;
    }
    const auto left = std::max(*due - clock_now(), Arbiter::Time::zero());
    storage.tv_sec = left.count() / 1'000'000'000;
    storage.tv_nsec = left.count() % 1'000'000'000;
    return &storage;
}

} // namespace

Router::Router(std::uint32_t bitrate, Frame_log& log)
    : log_(log)
{
    if (bitrate != 0) {
        arbiter_.emplace(bitrate);
    }
}

Router::~Router()
{
    if (listener_ >= 0) {
        ::close(listener_);
    }
}

bool Router::listen(std::uint16_t port)
{
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const int enable = 1;
    ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &enable, sizeof enable);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listener_, generic, size) != 0 || ::listen(listener_, SOMAXCONN) != 0 ||
        ::getsockname(listener_, generic, &size) != 0) {
        return false;
    }
    port_ = ntohs(address.sin_port);
    return true;
}

void Router::run(int stop_descriptor)
{
    std::vector<pollfd> polled;
    for (;;) {
        polled = {{stop_descriptor, POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const auto& [descriptor, client] : clients_) {
            const int read = wants_read(descriptor) ? POLLIN : 0;
            polled.push_back({descriptor, static_cast<short>(read | (client->has_backlog() ? POLLOUT : 0)), 0});
        }
        log_.flush();
        timespec left{};
        ::ppoll(polled.data(), polled.size(), time_left(arbiter_ ? arbiter_->due() : std::nullopt, left), nullptr);
        if (polled[0].revents != 0) {
            return;
        }
        deliver_due();
        for (std::size_t index = 2; index < polled.size(); ++index) {
            serve(*clients_.at(polled[index].fd), polled[index].revents);
        }
        deliver_due();
        drop_lost();
        if (polled[1].revents != 0) {
            accept_client();
        }
    }
}

void Router::accept_client()
{
    const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (descriptor < 0) {
        return; // it has left already, or no descriptor is free
    }
    const int enable = 1;
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &enable, sizeof enable);
    clients_.emplace(descriptor, std::make_unique<Connection>(descriptor));
}

void Router::serve(Connection& connection, short events)
{
    if ((events & POLLOUT) != 0) {
        connection.flush();
    }
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0) {
        connection.read([&](const Record& record) { on_record(connection.descriptor(), record); });
    }
}

void Router::on_record(int sender, const Record& record)
{
    if (arbiter_) {
        arbiter_->submit(sender, record, clock_now());
    } else {
        deliver(sender, record);
    }
}

void Router::deliver(int sender, const Record& record)
{
    log_.write(record);
    const auto bytes = encode(record);
    for (const auto& [descriptor, client] : clients_) {
        if (descriptor != sender && !client->is_lost()) {
            client->send(bytes);
        }
    }
}

void Router::deliver_due()
{
    while (arbiter_) {
        const auto delivery = arbiter_->next(clock_now());
        if (!delivery) {
            return;
        }
        deliver(delivery->sender, delivery->record);
    }
}

void Router::drop_lost()
{
    for (auto client = clients_.begin(); client != clients_.end();) {
        if (!client->second->is_lost()) {
            ++client;
            continue;
        }
        if (arbiter_) {
            arbiter_->remove(client->first);
        }
        client = clients_.erase(client);
    }
}

bool Router::wants_read(int descriptor) const
{
    return !arbiter_ || arbiter_->waiting(descriptor) < waiting_limit;
}

} // namespace bench
