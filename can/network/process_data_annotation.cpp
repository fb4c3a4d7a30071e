#include "can/network/process_data_annotation.h"

#include <array>
#include <cstddef>

#include "can/network/names/names.h"
#include "can/network/pdu/little_endian.h"
#include "framework/byte_text.h"
#include "framework/string/text.h"

namespace qv::can_bus::pdu {

namespace {

using Bytes = std::span<const std::uint8_t>; ///< of a message, never empty
using string::format_to_string;

constexpr std::size_t text_size = 128; ///< more than any of these formats takes

constexpr std::array device_descriptions{
    "structure label request ",
    "structure label ",
    "localization label request ",
    "localization label ",
    "object pool transfer request",
    "object pool transfer request response  ",
    "object pool transfer",
    "object pool transfer response",
    "object pool activate/deactivate",
    "object pool activate/deactivate response",
    "object pool delete",
    "object pool delete response",
    "change designator",
    "change designator response",
};

unsigned command_of(Bytes bytes) { return bytes[0] & 0x0FU; }

unsigned sub_command_of(Bytes bytes) { return bytes[0] >> 4U; }

std::string version(Bytes bytes)
{
    return bytes.size() < 2 ? std::string() : format_to_string(text_size, "version %u", unsigned{bytes[1]});
}

std::string technical_data(Bytes bytes)
{
    switch (sub_command_of(bytes)) {
        case 0: return "version request";
        case 1: return version(bytes);
        case 2: return "identify tc request";
        case 3: return "identify tc response";
        default: return {};
    }
}

std::string memory(Bytes bytes)
{
    if (bytes.size() < 2) {
        return {};
    }
    return bytes[1] == 0 ? "memory may be available" : "memory is not available";
}

std::string device_description(Bytes bytes)
{
    const unsigned sub_command = sub_command_of(bytes);
    if (sub_command >= device_descriptions.size()) {
        return {};
    }
    std::string text = device_descriptions[sub_command];
    switch (sub_command) {
        case 1:
        case 3: return text.append(to_hex_text(Byte_array_fix::view(bytes.subspan(1)))); // the label
        case 5: return text.append(memory(bytes));
        default: return text;
    }
}

/// The command and the element of the device that it is about.
std::string element(Bytes bytes)
{
    return format_to_string(text_size, "%s  element number %u  ddi %04x",
                            names::process_data_command(command_of(bytes)), read_little_endian(bytes, 0, 2) >> 4,
                            read_little_endian(bytes, 2, 2));
}

std::string value(Bytes bytes)
{
    return format_to_string(text_size, "  value %d", static_cast<int>(read_little_endian(bytes, 4, 4)));
}

std::string work_state(Bytes bytes)
{
    return format_to_string(text_size, "  work state condensed %x", read_little_endian(bytes, 4, 4));
}

std::string error(Bytes bytes)
{
    return format_to_string(text_size, "  error code %x  command %s", unsigned{bytes[4]},
                            names::process_data_command(bytes[5] & 0x0FU));
}

std::string tc_status(Bytes bytes) { return format_to_string(text_size, "tc status %u", unsigned{bytes[4]}); }

std::string client_task(Bytes bytes)
{
    return format_to_string(text_size, "client task %u", read_little_endian(bytes, 4, 4));
}

/// The bytes that are read for each command; those of 0 and 1 depend on the sub-command.
constexpr std::array<std::size_t, 16> sizes{1, 1, 8, 8, 8, 8, 8, 8, 8, 1, 8, 1, 1, 6, 5, 8};

std::string told_by_command(Bytes bytes)
{
    const unsigned command = command_of(bytes);
    if (bytes.size() < sizes[command]) {
        return {};
    }
    switch (command) {
        case 0: return "technical data " + technical_data(bytes);
        case 1: return "device description " + device_description(bytes);
        case 2:
        case 4:
        case 5:
        case 6:
        case 7:
        case 8:
        case 10: return element(bytes) + value(bytes);
        case 3: return element(bytes) + work_state(bytes); // whatever its DDI
        case 13: return element(bytes) + error(bytes);
        case 14: return tc_status(bytes);
        case 15: return client_task(bytes);
        default: return {}; // 9, 11, 12
    }
}

} // namespace

std::string process_data_annotation(Bytes bytes) { return "process data " + told_by_command(bytes); }

} // namespace qv::can_bus::pdu
