#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// Names for the numbers of a NAME and of messages, for the log and for people who look at an ECU. Numbers come as
/// the fields of a NAME have them. Each answer is text in UTF-8 that lives as long as the program, never null.
/// Thread: any.
namespace qv::can_bus::names {

/// ISO 11783-1; "industry group unknown" above 5.
const char* industry_group(std::uint32_t industry_group);

/// ISO 11783-1: the device classes of industry group 2. Of group 0 only class 0 has a name, its other classes are
/// empty; everything else is "device class unknown".
const char* device_class(std::uint32_t industry_group, std::uint32_t device_class);

/// ISO 11783-1. Below 128 a function means the same everywhere, and is empty when nothing is known of it. From 128
/// on its meaning depends on the device class: in industry group 2 it is known, or "agriculture, function
/// unknown"; in other groups it is empty.
const char* function(std::uint32_t industry_group, std::uint32_t device_class, std::uint32_t function);

/// By the 11-bit code; empty for a code that nobody holds.
const char* manufacturer(std::uint32_t code);

/// The function in the first byte of a message between an ECU and a Virtual Terminal [ISO 11783-6].
/// A code has a name for each direction: the answer to what the other side started ends in " response". Empty for
/// a code that does not go that way.
const char* ecu_to_vt_function(std::uint32_t code);
const char* vt_to_ecu_function(std::uint32_t code);

/// The command in the low half of the first byte of process data [ISO 11783-10]; "invalid" above 15.
const char* process_data_command(std::uint32_t command);

/// What the setting "auto" of a device class stands for.
inline constexpr std::uint32_t device_class_auto = 126;

/// The device class that `text` means: a number from "0" to "25", a name of industry group 2, of which
/// "transport/trailer" may also be either of its halves, or "auto". Nothing for any other text.
std::optional<std::uint32_t> device_class_from_text(std::string_view text);

} // namespace qv::can_bus::names
