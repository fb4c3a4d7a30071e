#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace bench {

/// One CAN frame as it travels between a client and the router: 13 bytes, the same in both directions, with no
/// header, no handshake and no start marker.
///
///     byte 0..3   identifier word, low byte first: bits 0..28 identifier, 29 error, 30 remote, 31 extended frame
///     byte 4      data length, 0..8
///     byte 5..12  data; bytes behind the length have no meaning
struct Record {
    std::uint32_t identifier = 0; ///< 29 bits, or 11 when not `extended`
    bool error = false;
    bool remote = false;
    bool extended = true;
    std::uint8_t length = 0; ///< 0..8
    std::array<std::uint8_t, 8> data{};

    friend bool operator==(const Record&, const Record&) = default;
};

inline constexpr std::size_t record_size = 13;
using Record_bytes = std::array<std::uint8_t, record_size>;

[[nodiscard]] Record_bytes encode(const Record& record) noexcept;

/// Reads the first 13 bytes; nothing when there are fewer, or when they tell of more than 8 data bytes.
/// The bytes behind the length come out as zero.
[[nodiscard]] std::optional<Record> decode(std::span<const std::uint8_t> bytes) noexcept;

} // namespace bench
