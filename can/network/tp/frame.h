#pragma once

#include <array>
#include <cstdint>

namespace qv::can_bus::tp::frame {

/// The 8 bytes of a frame of the transport protocols.
using Frame = std::array<std::uint8_t, 8>;

/// Byte 0 of a connection management frame [ISO 11783-3; SAE J1939-21 5.10.3].
namespace control {
inline constexpr std::uint8_t request_to_send = 16;
inline constexpr std::uint8_t clear_to_send = 17;
inline constexpr std::uint8_t end_of_message = 19;
inline constexpr std::uint8_t extended_request_to_send = 20;
inline constexpr std::uint8_t extended_clear_to_send = 21;
inline constexpr std::uint8_t extended_data_packet_offset = 22;
inline constexpr std::uint8_t extended_end_of_message = 23;
inline constexpr std::uint8_t broadcast_announce = 32;
inline constexpr std::uint8_t abort = 255;
} // namespace control

/// Byte 1 of an abort.
enum class Abort_reason : std::uint8_t {
    bad_data = 2, ///< bad or unexpected data frame or DPO; or the sender cannot read its data
    timeout = 3,
    refused = 7, ///< an RTS cannot be served, for any cause
};

/// The group that carries connection management, and the one that carries data.
std::uint32_t connection_pgn(bool extended) noexcept;
std::uint32_t data_pgn(bool extended) noexcept;

// Each function below gives one frame. Sizes are bytes, counts packets; `pgn` is the transferred group.

Frame request_to_send(bool extended, std::uint32_t size, std::uint32_t packet_count, std::uint32_t pgn) noexcept;
/// `next_packet` counts from 1. A `count` of 0 holds the sender.
Frame clear_to_send(bool extended, std::uint32_t count, std::uint32_t next_packet, std::uint32_t pgn) noexcept;
/// `offset` is the number of packets before the window.
Frame data_packet_offset(std::uint32_t count, std::uint32_t offset, std::uint32_t pgn) noexcept;
Frame end_of_message(bool extended, std::uint32_t size, std::uint32_t packet_count, std::uint32_t pgn) noexcept;
Frame broadcast_announce(std::uint32_t size, std::uint32_t packet_count, std::uint32_t pgn) noexcept;
Frame abort(Abort_reason reason, std::uint32_t pgn) noexcept;

} // namespace qv::can_bus::tp::frame
