#pragma once

#include <cstdint>
#include <optional>

#include <linux/can.h>

#include "can/hardware/message.h"

namespace qv::can_bus::hardware {

/// Fills `message` from a frame of the kernel. The flag bits are taken off and not looked at: a standard frame
/// shows up with its 11 bits as an identifier of 29.
void from_kernel(const can_frame& frame, Message& message);

/// An extended data frame for the kernel. Empty for more than 8 bytes, and for null `data` with a length.
std::optional<can_frame> to_kernel(std::uint32_t id, const std::uint8_t* data, std::uint32_t length);

} // namespace qv::can_bus::hardware
