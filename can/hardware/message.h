#pragma once

#include <cstdint>

#include "framework/byte_array.h"

namespace qv::can_bus::hardware {

/// The payload of a classic CAN frame at most [ISO 11898-1].
inline constexpr std::uint32_t data_length_maximum = 8;

/// One raw frame as a device delivers it.
struct Message {
    Byte_array data;
    std::uint32_t length = 0;     ///< bytes of data
    std::uint32_t identifier = 0; ///< 29 bits, the flags taken off
};

} // namespace qv::can_bus::hardware
