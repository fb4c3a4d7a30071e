#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>

namespace qv::can_bus::flr {

/// A text as messages and files carry it: the bytes before the first NUL.
inline std::string text_of(std::span<const std::uint8_t> bytes)
{
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), std::uint8_t{0})};
}

} // namespace qv::can_bus::flr
