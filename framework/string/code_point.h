#pragma once

#include <cstdint>

#include "framework/scalar_wrapper.h"

namespace qv::string {

/// One character of any text, as Unicode numbers it.
using Code_point = std::int32_t;

/// The code units of the four encodings.
using Ascii_unit = Scalar_wrapper<unsigned char, 0, 0, 127, 0>;
using Utf_8_unit = Scalar_wrapper<unsigned char, 0, 0, 255, 0>;
using Utf_16_unit = Scalar_wrapper<unsigned short, 0, 0, 65535, 0>;
using Utf_32_unit = Scalar_wrapper<int, 0, 0, 2147483647, 0>;

inline constexpr Code_point replacement = '?';
/// What the formatter puts between groups of digits.
inline constexpr Code_point thin_space = 0x2009;

} // namespace qv::string
