#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace qv::can_bus::pdu {

/// What a message between a task controller and its client means [ISO 11783-10]: the command and, when the message
/// is long enough for it, what the command is about. `bytes` has at least one.
std::string process_data_annotation(std::span<const std::uint8_t> bytes);

} // namespace qv::can_bus::pdu
