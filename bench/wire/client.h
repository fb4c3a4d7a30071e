#pragma once

#include "bench/wire/record.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// One TCP connection to the router, for a program that lives on poll(): it never blocks (but to resolve a host
/// that is given by name), and when the router is absent or leaves it tries again every 250 ms.
///
/// Round of the caller's loop: `poll` on `descriptor()` for `events()`, no longer than until `next_attempt()`;
/// then `on_poll` with what poll said. Time is any monotonic clock, in milliseconds.
///
/// Thread: any one.
class Client {
public:
    using Time = std::chrono::milliseconds;
    using Receive = std::function<void(const Record&)>;
    enum class Change {
        none,
        established, ///< the connection stands now
        terminated   ///< it stood and is gone
    };

    Client(std::string host, std::uint16_t port)
        : host_(std::move(host))
        , port_(port)
    {}
    ~Client() { close(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// -1 between two attempts; poll() ignores such an entry.
    [[nodiscard]] int descriptor() const noexcept { return socket_; }
    [[nodiscard]] short events() const noexcept;
    [[nodiscard]] bool connected() const noexcept { return state_ == State::connected; }

    /// When `on_poll` wants to be called though no event came; Time::max() when not at all.
    [[nodiscard]] Time next_attempt() const noexcept;

    /// Connects, reads and writes as far as it goes without waiting. `receive` gets each well-formed record in
    /// order of arrival; it may call `send`. A record that tells of more than 8 bytes is dropped, and the stream
    /// stays in step.
    Change on_poll(short revents, Time now, const Receive& receive);

    /// Sends at once, or keeps what the socket does not take for the next `on_poll`. False, and the record is
    /// lost, without a connection or with a router that has not read for 4 MiB.
    bool send(const Record& record);

private:
    enum class State { waiting, connecting, connected };

    void attempt(Time now);
    void finish_attempt(Time now);
    bool read(const Receive& receive);
    bool flush();
    void close() noexcept;
    void retry_later(Time now) noexcept;

    std::string host_;
    std::uint16_t port_;
    State state_ = State::waiting;
    int socket_ = -1;
    Time retry_at_{0};
    std::vector<std::uint8_t> in_;  ///< the part of a record that has come so far
    std::vector<std::uint8_t> out_; ///< what the socket did not take yet
};

} // namespace bench
