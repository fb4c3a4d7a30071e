#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace qv::endianness {

/// The host's byte order.
struct System_state {
    static constexpr int little = 0;
    static constexpr int big = 1;
    static constexpr int system_state = std::endian::native == std::endian::little ? little : big;
};

constexpr bool is_little_endian() noexcept { return System_state::system_state == System_state::little; }

/// Copies `size` bytes in reverse order; the ranges do not overlap.
constexpr void reverse_copy(std::uint8_t* target, const std::uint8_t* source, std::size_t size) noexcept
{
    std::reverse_copy(source, source + size, target);
}

constexpr void reverse(std::uint8_t* bytes, std::size_t size) noexcept { std::reverse(bytes, bytes + size); }

/// Complements each byte.
constexpr void invert(std::uint8_t* bytes, std::size_t size) noexcept
{
    std::transform(bytes, bytes + size, bytes, [](std::uint8_t byte) { return static_cast<std::uint8_t>(~byte); });
}

} // namespace qv::endianness
