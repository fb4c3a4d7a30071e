#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qv::can_bus {

/// Numbers on the bus stand least significant byte first [ISO 11783-3 5.2.8].
///
/// The `count` bytes, up to 4, of `bytes` from `first` on; the range holds them.
constexpr std::uint32_t read_little_endian(std::span<const std::uint8_t> bytes, std::size_t first,
                                           std::size_t count) noexcept
{
    std::uint32_t value = 0;
    for (std::size_t index = 0; index < count; ++index) {
        value |= std::uint32_t{bytes[first + index]} << (8 * index);
    }
    return value;
}

/// Writes the low `count` bytes of `value` into `bytes` from `first` on; the range has room for them.
constexpr void write_little_endian(std::span<std::uint8_t> bytes, std::size_t first, std::size_t count,
                                   std::uint32_t value) noexcept
{
    for (std::size_t index = 0; index < count; ++index) {
        bytes[first + index] = static_cast<std::uint8_t>(value >> (8 * index));
    }
}

} // namespace qv::can_bus
