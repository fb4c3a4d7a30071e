#pragma once

#include <cstdint>

#include "framework/string/code_point.h"

namespace qv::string::formatting {

inline constexpr std::uint32_t no_precision = 0xFFFFFFFF;

/// The widest field that blanks or zeros fill up, in code points: a width beyond it, and what a precision asks of
/// zeros beyond it, count as this much. The text of an argument is never cut by it.
inline constexpr std::uint32_t widest_field = 4096;

enum class Sign { none, blank, plus };
enum class Size { byte, half, word, longer };

/// One conversion of a format: "%", flags, width, "." or "," with precision, size, letter.
struct Specification {
    std::uint32_t width = 0;                ///< digits or "*"; a negative argument justifies to the left
    std::uint32_t precision = no_precision; ///< digits or "*"; a negative argument counts as none
    bool right_justified = true;            ///< "-" clears it
    Sign sign = Sign::none;                 ///< " " and "+"
    bool zero_padded = false;               ///< "0"
    bool alternate = false;                 ///< "#"
    Size size = Size::word;                 ///< "Y"; "h" or "H"; "z" or "W"; "l" or "Z"
    bool grouped = false;                   ///< ":"
    Code_point group_separator = 0;         ///< 0: by conversion
    bool semicolon = false;                 ///< ";"; without effect
    Code_point fill = ' ';
    bool comma = false;   ///< "," in place of "."; without effect
    bool finished = true; ///< no format is left: its end was reached, or an argument did not fit
};

} // namespace qv::string::formatting
