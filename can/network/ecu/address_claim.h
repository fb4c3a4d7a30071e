#pragma once

#include <cstdint>

#include "can/network/pdu/pdu.h"

namespace qv::can_bus::ecu {
class ECU;
} // namespace qv::can_bus::ecu

namespace qv::can_bus::ecu::address_claim::handler {

/// Claims an address for one ECU [ISO 11783-5 4.5].
///
/// It first asks all others for their addresses and listens; then it claims, and holds the address when
/// nobody has objected. The waits are 270 ms, where the standard asks for 250 ms, and there is no random
/// delay before the first frame. Every start runs the whole sequence.
///
/// Thread: the bus thread. Lifetime: the ECU owns it.
class Handler {
public:
    enum class State : std::uint32_t {
        idle = 0,       ///< no claim was started
        start = 1,      ///< the claim begins with the next tick
        requesting = 2, ///< has asked for all addresses, and listens
        claiming = 3,   ///< has sent its claim, and waits for a contender
        claimed = 4,    ///< holds the address
        lost = 5,       ///< a contender took the address; held only while a new start is decided
    };

    explicit Handler(ECU& ecu) noexcept
        : ecu_(ecu)
    {}
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;

    /// Claims `preferred_address`, or the next free one if another node holds it. The null and the global
    /// address change nothing but the address wanted.
    void start(std::uint32_t preferred_address);
    /// The tick, in milliseconds. A late one only delays the step: no rest is carried over.
    void on_time_elapsed(std::uint32_t elapsed);
    /// A node with a lower NAME claims the ECU's address: starts again with a free one.
    void lose_contention();
    /// Back to `idle`, for good: the ECU leaves the bus.
    void stop() noexcept;

    State state() const noexcept { return state_; }
    bool is_claimed() const noexcept { return state_ == State::claimed; }
    /// Whether the ECU uses an address, even if it may still lose it.
    bool is_on_bus() const noexcept { return state_ == State::claiming || state_ == State::claimed; }
    /// Milliseconds for which the address is held; no longer exact after 49 days.
    std::uint32_t claimed_time() const noexcept { return claimed_time_; }
    /// The address that the ECU wants.
    std::uint32_t address() const noexcept { return address_; }

private:
    void on_timer_ended();
    void enter(State state) noexcept;
    void begin() noexcept;
    void request_addresses();
    void claim();
    bool has_address() const noexcept;
    void check_address();
    std::uint32_t next_free_address() const;

    ECU& ecu_;
    State state_ = State::idle;
    std::uint32_t timer_ = 0;        ///< milliseconds left, 0 when it does not run
    std::uint32_t claimed_time_ = 0; ///< milliseconds
    std::uint32_t address_ = pdu::null_address;
};

} // namespace qv::can_bus::ecu::address_claim::handler
