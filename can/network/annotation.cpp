#include "can/network/annotation.h"

#include <cstddef>
#include <cstdint>
#include <span>

#include "can/network/names/names.h"
#include "can/network/pdu/little_endian.h"
#include "can/network/pdu/name.h"
#include "can/network/process_data_annotation.h"
#include "framework/byte_text.h"
#include "framework/string/text.h"

namespace qv::can_bus::pdu {

namespace {

using Bytes = std::span<const std::uint8_t>; ///< of a PDU, never empty
using string::format_to_string;

constexpr std::uint32_t process_data_pgn = 0xCB00;
constexpr std::uint32_t vt_to_ecu_pgn = 0xE600;
constexpr std::uint32_t ecu_to_vt_pgn = 0xE700;

// The commands of an ECU to a terminal of which the values are told [ISO 11783-6 annex F].
constexpr std::uint8_t change_numeric_value = 0xA8;
constexpr std::uint8_t change_string_value = 0xB3;

constexpr std::size_t text_size = 512; ///< more than any of these formats takes with the longest names

std::string address_claimed(Bytes bytes)
{
    if (bytes.size() < 8) {
        return "address claimed";
    }
    const name::Name name = name::from_bytes(bytes);
    const std::uint32_t manufacturer = name::manufacturer_code(name);
    const std::uint32_t industry_group = name::industry_group(name);
    const std::uint32_t device_class = name::device_class(name);
    const std::uint32_t function = name::function(name);
    return format_to_string(
        text_size,
        "address claimed  manufacturer %s (%u)  industry group %s (%u)  device class %s (%u)  function %s (%u)"
        "  function instance %u  ecu instance %u  id %u",
        names::manufacturer(manufacturer), manufacturer, names::industry_group(industry_group), industry_group,
        names::device_class(industry_group, device_class), device_class,
        names::function(industry_group, device_class, function), function, name::function_instance(name),
        name::ecu_instance(name), name::identity_number(name));
}

std::string working_set_master(Bytes bytes)
{
    return format_to_string(text_size, "working set master  %u member (incl. master)", unsigned{bytes[0]});
}

std::string vt_to_ecu(Bytes bytes)
{
    return std::string("vt to ecu  ").append(names::vt_to_ecu_function(bytes[0]));
}

std::string numeric_value(Bytes bytes)
{
    if (bytes.size() < 8) {
        return {};
    }
    return format_to_string(text_size, "  id %u  value %u", read_little_endian(bytes, 1, 2),
                            read_little_endian(bytes, 4, 4));
}

/// Bytes behind the text fill the frame up and don't count.
std::string string_value(Bytes bytes)
{
    constexpr std::size_t start = 5;
    if (bytes.size() < start) {
        return {};
    }
    const std::size_t length = read_little_endian(bytes, 3, 2);
    if (bytes.size() - start < length) {
        return {};
    }
    const auto text = Byte_array_fix::view(bytes.subspan(start, length));
    return format_to_string(text_size, "  id %u  value ", read_little_endian(bytes, 1, 2))
        .append(to_printable_text(text));
}

std::string ecu_to_vt(Bytes bytes)
{
    auto text = std::string("ecu to vt  ").append(names::ecu_to_vt_function(bytes[0]));
    switch (bytes[0]) {
        case change_numeric_value: return text.append(numeric_value(bytes));
        case change_string_value: return text.append(string_value(bytes));
        default: return text;
    }
}

} // namespace

std::string annotation(const PDU& pdu)
{
    const Bytes bytes = pdu.data.bytes();
    if (bytes.empty()) {
        return {};
    }
    switch (pdu.pgn) {
        case pgn::address_claimed: return address_claimed(bytes);
        case pgn::working_set_master: return working_set_master(bytes);
        case vt_to_ecu_pgn: return vt_to_ecu(bytes);
        case ecu_to_vt_pgn: return ecu_to_vt(bytes);
        case process_data_pgn: return process_data_annotation(bytes);
        default: return {};
    }
}

} // namespace qv::can_bus::pdu
