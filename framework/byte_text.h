#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include "framework/byte_array.h"

namespace qv {

/// Fills `array` with `size` bytes from `text`, two hexadecimal digits a byte, the high digit first. A character
/// that is no digit counts as the digit 0. False, with an empty `array`, for a `size` of 0, a null `text`, and a
/// `text` of fewer than 2 x `size` characters; what stands behind them is not read.
[[nodiscard]] bool from_hex_text(Byte_array& array, std::uint32_t size, const char* text);

/// How `to_hex_text` writes.
struct Hex_style {
    bool uppercase = false;
    bool spaced = false;   ///< one blank in front of every byte, the first included
    bool reversed = false; ///< from the last of the chosen bytes to the first
};

inline constexpr std::uint32_t all_bytes = std::numeric_limits<std::uint32_t>::max();

/// The first `max_count` bytes of `array`, two hexadecimal digits each.
std::string to_hex_text(const Byte_array_fix& array, std::uint32_t max_count = all_bytes, Hex_style style = {});

/// The first `max_count` bytes of `array` as characters, with "." for every byte below 32.
std::string to_printable_text(const Byte_array_fix& array, std::uint32_t max_count = all_bytes);

} // namespace qv
