#pragma once

#include "bench/wire/record.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace bench {

/// A way onto a bus, for a program that lives on poll(): it never waits, and when the bus is absent or goes away
/// it tries again every 250 ms.
///
/// Round of the caller's loop: `poll` on `descriptor()` for `events()`, no longer than until `next_attempt()`;
/// then `on_poll` with what poll said. Time is any monotonic clock, in milliseconds.
///
/// Thread: any one.
class Link {
public:
    using Time = std::chrono::milliseconds;
    using Receive = std::function<void(const Record&)>;
    enum class Change {
        none,
        established, ///< the bus is there now
        terminated   ///< it was there and is gone
    };
    static constexpr Time retry_pause{250};

    virtual ~Link() = default;

    [[nodiscard]] virtual std::string name() const = 0;
    /// -1 between two attempts; poll() ignores such an entry.
    [[nodiscard]] virtual int descriptor() const noexcept = 0;
    [[nodiscard]] virtual short events() const noexcept = 0;
    [[nodiscard]] virtual bool connected() const noexcept = 0;

    /// When `on_poll` wants to be called though no event came; Time::max() when not at all.
    [[nodiscard]] virtual Time next_attempt() const noexcept = 0;

    /// Connects, reads and writes as far as it goes without waiting. `receive` gets each well-formed frame in
    /// order of arrival; it may call `send`.
    virtual Change on_poll(short revents, Time now, const Receive& receive) = 0;

    /// Sends at once, or keeps what is not taken for the next `on_poll`. False, and the frame is lost, without a
    /// bus or with too much waiting already.
    virtual bool send(const Record& record) = 0;

    /// Goes over to another bit rate, in bits per second. False when that fails.
    virtual bool set_rate(std::uint32_t rate) = 0;
};

} // namespace bench
