#pragma once

#include "bench/wire/record.h"

#include <cstdint>
#include <optional>
#include <span>

namespace bench::simulated {

using Bytes = std::span<const std::uint8_t>;

/// Parameter groups that the ECU knows, by their standard.
namespace pgn {
// clang-format off
inline constexpr std::uint32_t acknowledgement         = 59392; ///< SAE J1939-21 5.4.4
inline constexpr std::uint32_t request                 = 59904; ///< SAE J1939-21 5.4.2
inline constexpr std::uint32_t transport_data          = 60160; ///< ISO 11783-3, TP.DT
inline constexpr std::uint32_t transport_connection    = 60416; ///< ISO 11783-3, TP.CM
inline constexpr std::uint32_t address_claimed         = 60928; ///< ISO 11783-5
inline constexpr std::uint32_t proprietary_a           = 61184; ///< ISO 11783-3 5.4.6; the bootloader's heartbeat
inline constexpr std::uint32_t binary_data             = 55040; ///< SAE J1939-73, DM16
inline constexpr std::uint32_t memory_response         = 55296; ///< SAE J1939-73, DM15
inline constexpr std::uint32_t memory_request          = 55552; ///< SAE J1939-73, DM14
inline constexpr std::uint32_t product_identification  = 64653; ///< ISO 11783-12
inline constexpr std::uint32_t ecu_identification      = 64965; ///< ISO 11783-12
inline constexpr std::uint32_t software_identification = 65242; ///< ISO 11783-12
inline constexpr std::uint32_t component_identification = 65259; ///< SAE J1939-71
// clang-format on
} // namespace pgn

inline constexpr std::uint8_t global_address = 255;
inline constexpr std::uint8_t null_address = 254;

/// What a 29-bit identifier says [ISO 11783-3 5.2].
struct Header {
    std::uint32_t pgn = 0;
    std::uint8_t destination = global_address; ///< 255 for a PDU2, which has none
    std::uint8_t source = null_address;
};

/// Nothing for error, remote and 11-bit frames.
[[nodiscard]] inline std::optional<Header> header_of(const Record& record) noexcept
{
    if (record.error || record.remote || !record.extended) {
        return std::nullopt;
    }
    const auto specific = static_cast<std::uint8_t>(record.identifier >> 8);
    const auto source = static_cast<std::uint8_t>(record.identifier);
    const std::uint32_t group = (record.identifier >> 8) & 0x3FFFF;
    const bool pdu1 = ((group >> 8) & 0xFF) < 240;
    return Header{pdu1 ? group & 0x3FF00 : group, pdu1 ? specific : global_address, source};
}

/// A frame of at most 8 bytes; more are cut off. The destination counts for a PDU1 only.
[[nodiscard]] inline Record frame(std::uint32_t priority, const Header& header, Bytes data) noexcept
{
    const bool pdu1 = ((header.pgn >> 8) & 0xFF) < 240;
    Record record;
    record.identifier =
        (priority << 26) | (header.pgn << 8) | (pdu1 ? std::uint32_t{header.destination} << 8 : 0) | header.source;
    for (; record.length < 8 && record.length < data.size(); ++record.length) {
        record.data[record.length] = data[record.length];
    }
    return record;
}

/// `count` bytes from `first`, low byte first. The caller has tested the length.
[[nodiscard]] inline std::uint32_t little_endian(Bytes data, std::size_t first, std::size_t count) noexcept
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value |= static_cast<std::uint32_t>(data[first + i]) << (8 * i);
    }
    return value;
}

[[nodiscard]] constexpr std::uint8_t byte_of(std::uint64_t value, unsigned index) noexcept
{
    return static_cast<std::uint8_t>(value >> (8 * index));
}

} // namespace bench::simulated
