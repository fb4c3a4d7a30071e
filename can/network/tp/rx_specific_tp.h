#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "can/network/tp/ecu_port.h"
#include "can/network/tp/frame.h"
#include "can/network/tp/rx_tp.h"

namespace qv::can_bus::tp::rx::specific {

/// A message for one local ECU, received by TP or ETP [ISO 11783-3].
///
/// Any data frame or DPO that does not belong ends it with an abort.
/// Thread: the bus thread. The ECU outlives it.
class TP final : public rx::TP {
public:
    /// Begins on hold when it has more than 16 packets, and with the next tick otherwise.
    TP(Ecu_port& ecu, std::shared_ptr<node::Node> peer, std::uint32_t pgn, std::uint32_t size,
       std::uint32_t packets_per_cts_maximum);

    void on_time_elapsed(std::uint32_t elapsed) override;
    /// A data frame: `index` is its sequence number less 1, `bytes` the rest. True when it completes a window
    /// with more to come; the manager then opens the next one.
    bool packet(std::uint32_t index, std::span<const std::uint8_t> bytes);
    /// ETP: the sender's window of `count` packets behind `offset` others. It may go back in the message, not
    /// forward.
    void on_dpo(std::uint32_t count, std::uint32_t offset);
    /// Asks for the next window.
    void send_cts();
    /// Tells the peer to wait for its turn.
    void send_hold();
    /// Ends the session without a frame: the peer gave up.
    void close();

    /// Whether this one takes turns with others, and whether it has the turn.
    bool large() const noexcept { return packet_count_ > free_packet_count_maximum; }
    bool has_turn() const noexcept { return large() && state() != State::Hold && !finished(); }

private:
    void on_timer();
    void on_timeout();
    bool end_window();
    void abort(frame::Abort_reason reason);
    void send(const frame::Frame& frame) { ecu_.transmit(peer_, frame::connection_pgn(extended_), frame); }

    std::uint32_t cts_try_count_ = 0; ///< CTS sent since the last complete window
    Ecu_port& ecu_;
};

} // namespace qv::can_bus::tp::rx::specific
