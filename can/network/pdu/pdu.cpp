#include "can/network/pdu/pdu.h"

#include <cstdio>
#include <utility>

#include "framework/byte_text.h"

namespace qv::can_bus::pdu {

PDU::PDU(std::uint32_t identifier, Byte_array payload)
    : data(std::move(payload))
    , length(data.size())
    , source_address(identifier & 0xFF)
{
    const std::uint32_t group = (identifier >> 8) & 0x3FFFF;
    pdu1 = is_pdu1(group);
    if (pdu1) {
        pgn = group & 0x3FF00;
        destination_address = group & 0xFF;
        global = destination_address == global_address;
    } else {
        pgn = group;
    }
}

std::unique_ptr<comm::message::Message> PDU::clone() const { return std::make_unique<PDU>(*this); }

std::string text(const PDU& pdu)
{
    char group[32];
    char destination[16] = "    ";
    char length[16];
    std::snprintf(group, sizeof group, "%05x  %02x", pdu.pgn, pdu.source_address);
    if (pdu.pdu1) {
        std::snprintf(destination, sizeof destination, "->%02x", pdu.destination_address);
    }
    std::snprintf(length, sizeof length, "  %u", pdu.length);
    const auto bytes = pdu.data.empty() ? " " : to_hex_text(pdu.data, all_bytes, {.spaced = true});
    return std::string(group) + destination + length + bytes + "  " + to_printable_text(pdu.data);
}

} // namespace qv::can_bus::pdu
