#pragma once

#include <cstdint>
#include <memory>

#include "can/network/node/node.h"

namespace qv::can_bus::tp {

inline constexpr std::uint32_t standard_size_minimum = 9;
inline constexpr std::uint32_t standard_size_maximum = 1785;
/// 16777216 packets of 7 bytes, one packet more than 24 bits count.
inline constexpr std::uint32_t extended_size_maximum = 117440512;
inline constexpr std::uint32_t packet_size = 7;
/// How many packets carry `size` bytes.
constexpr std::uint32_t packets_of(std::uint32_t size) noexcept
{
    return size / packet_size + (size % packet_size != 0 ? 1 : 0);
}
/// A reception of at most this many packets runs freely; larger ones take turns.
inline constexpr std::uint32_t free_packet_count_maximum = 16;

/// Milliseconds; each stands 5 ms above the standard's value [ISO 11783-3; SAE J1939-21 5.10.2.4].
namespace timeout {
inline constexpr std::uint32_t response = 1255;       ///< T2, T3: CTS or EOMA; DPO or first data after a CTS
inline constexpr std::uint32_t held = 1055;           ///< T4: after a CTS with count 0
inline constexpr std::uint32_t between_packets = 755; ///< T1
inline constexpr std::uint32_t repeat_hold = 250;     ///< a receiver repeats its CTS with count 0
inline constexpr std::uint32_t broadcast_gap = 51;
inline constexpr std::uint32_t next_tick = 1;
} // namespace timeout

/// What a session waits for.
enum class State : std::uint8_t {
    Hold,      ///< receive: the peer was told to wait
    Start,     ///< both: begins at the next tick
    Wait_cts,  ///< send: for CTS or EOMA
    Sending,   ///< send: data bursts leave
    Wait_dpo,  ///< receive, extended: for the DPO that answers the CTS
    Receiving, ///< receive: for data frames
    Finished,  ///< both: its manager removes it
};

/// One message on its way across the bus in packets of 7 bytes [ISO 11783-3].
///
/// A passive state chart: its manager hands in frames and elapsed time.
/// Thread: the bus thread.
class TP {
public:
    virtual ~TP() = default;
    TP(const TP&) = delete;
    TP& operator=(const TP&) = delete;

    /// Whether the window is through: all its packets were seen or sent.
    virtual bool window_complete() const { return window_done_ == window_count_; }
    /// Whether the bytes of the message, or room for them, are there.
    virtual bool data_ready() const { return false; }
    /// The tick; milliseconds since the last one.
    virtual void on_time_elapsed(std::uint32_t elapsed) = 0;

    State state() const noexcept { return state_; }
    bool finished() const noexcept { return state_ == State::Finished; }
    /// How a finished session ended.
    bool success() const noexcept { return success_; }
    /// The other side; empty for a broadcast being sent.
    const std::shared_ptr<node::Node>& peer() const noexcept { return peer_; }
    std::uint32_t pgn() const noexcept { return pgn_; }
    std::uint32_t size() const noexcept { return size_; }
    std::uint32_t packet_count() const noexcept { return packet_count_; }
    std::uint32_t packets_done() const noexcept { return packets_done_; }
    bool extended() const noexcept { return extended_; }
    /// Whether this is the session that a frame of `peer` is for. A `pgn` outside 1 to 0x3FFFF fits any.
    bool matches(const node::Node* peer, bool broadcast, bool extended, std::uint32_t pgn) const noexcept;

protected:
    TP(std::shared_ptr<node::Node> peer, std::uint32_t pgn, std::uint32_t size, bool broadcast,
       std::uint32_t packets_per_cts_maximum);

    /// Counts the timer down; true when it ends within `elapsed`. A timer of 0 does not run.
    bool timer_ends_within(std::uint32_t elapsed) noexcept;
    void enter(State state, std::uint32_t timer) noexcept;
    void finish(bool success) noexcept;

    std::uint32_t window_count_ = 0; ///< packets allowed in this window
    std::uint32_t window_done_ = 0;  ///< packets of it seen or sent
    std::uint32_t window_start_ = 0; ///< index of its first packet, from 0
    std::uint32_t packets_done_ = 0; ///< packets of the message seen or sent
    const std::uint32_t packet_count_;
    const std::uint32_t packets_per_cts_maximum_; ///< what the peer allows in one window
    const std::uint32_t size_;                    ///< bytes
    const std::shared_ptr<node::Node> peer_;
    const std::uint32_t pgn_;
    const bool broadcast_; ///< sent to all
    const bool extended_;  ///< by ETP: the size is none that TP carries

private:
    State state_ = State::Start;
    bool success_ = false;
    std::uint32_t timer_ = 0; ///< milliseconds left, 0 when none runs
};

} // namespace qv::can_bus::tp
