#pragma once

#include <cstdint>
#include <memory>

#include "can/network/node/node.h"
#include "service/memory_access.h"
#include "service/own_ecu.h"

namespace qv::can_bus::flr {

/// How one memory access stands.
enum class Access_status : std::int32_t {
    waiting = 0,    ///< request sent, no answer yet
    proceeding = 1, ///< Proceed came; the data phase is under way
    ready = 2,      ///< over; the session may act
    failed = 3,     ///< the ECU refused
    busy = 4,       ///< the ECU was busy; the request goes out again at the next tick
};

/// One memory access with an ECU [SAE J1939-73 5.7.14 to 5.7.16]: the request that is open, its key, its
/// repetition, and the time left for its answer. What an answer leads to, the session decides.
///
/// Thread: the bus thread. Lifetime: the own ECU outlives it.
class Exchange {
public:
    explicit Exchange(const Own_ecu& own_ecu) noexcept
        : own_ecu_(own_ecu)
    {}

    /// Sends a request to the target and waits for its answer.
    void begin(const memory_access::Request& request, const std::shared_ptr<node::Node>& target);
    /// Sends the request once more, with the key that it has by now. An answer that came in doubt left an exchange
    /// open, which is closed first.
    void repeat(const std::shared_ptr<node::Node>& target);
    /// The key of the bootloader's access check is the seed itself; the request goes out again with it. That the
    /// ECU asks for it ends a doubt.
    void answer_seed(std::uint16_t seed, const std::shared_ptr<node::Node>& sender);
    /// Sends the data of a request for a 32-bit number.
    void send_word(const std::shared_ptr<node::Node>& receiver, std::uint32_t value) const;
    /// Tells that the operation is completed.
    void close(const std::shared_ptr<node::Node>& receiver) const;

    /// The ECU goes on, or sends data, which ends a doubt.
    void note_proceed() noexcept;
    /// The request is to be repeated at the next tick.
    void note_busy() noexcept { status_ = Access_status::busy; }
    /// Stands until the next session begins.
    void note_refusal() noexcept { status_ = Access_status::failed; }
    /// The answer may be the one to the request before, heard twice: unless Proceed comes, the request is
    /// repeated.
    void doubt() noexcept;
    /// Nothing is waited for any more. Not after a refusal, which stands.
    void end() noexcept;
    /// The next session begins: its ECU refused nothing.
    void take_refusal_back() noexcept { status_ = Access_status::ready; }
    /// Counts a second of the wait for an answer; false when none was left.
    [[nodiscard]] bool wait_a_second() noexcept;

    Access_status status() const noexcept { return status_; }
    /// Whether an Operation Completed that comes now lacks the Proceed before it. After the repetition of a
    /// request in doubt it does not.
    bool lacks_proceed() const noexcept;
    /// Whether that is the open request, whatever its key.
    bool asks_for(const memory_access::Request& request) const noexcept;

private:
    void send(const std::shared_ptr<node::Node>& receiver, const memory_access::Request& request) const;

    Access_status status_ = Access_status::ready;
    std::uint32_t access_timeout_ = 0; ///< seconds left to wait for the answer
    memory_access::Request request_{}; ///< the last one, with its key
    bool is_doubtful_ = false;         ///< it was answered as done, without a Proceed before
    const Own_ecu& own_ecu_;
};

} // namespace qv::can_bus::flr
