#include "can/network/pdu/pdu.h"

#include <cstdio>
#include <utility>

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

namespace {

template <class... Values> void append(std::string& line, const char* format, Values... values)
{
    char piece[32];
    const int written = std::snprintf(piece, sizeof piece, format, values...);
    line.append(piece, static_cast<std::size_t>(written));
}

} // namespace

std::string text(const PDU& pdu)
{
    std::string line;
    line.reserve(32 + 4 * std::size_t{pdu.data.size()});
    append(line, "%05x  %02x", pdu.pgn, pdu.source_address);
    if (pdu.pdu1) {
        append(line, "->%02x", pdu.destination_address);
    } else {
        line += "    ";
    }
    append(line, "  %u ", pdu.length);
    const char* separator = "";
    for (const std::uint8_t byte : pdu.data.bytes()) {
        append(line, "%s%02x", separator, unsigned{byte});
        separator = " ";
    }
    line += "  ";
    for (const std::uint8_t byte : pdu.data.bytes()) {
        line += byte < 32 ? '.' : static_cast<char>(byte);
    }
    return line;
}

} // namespace qv::can_bus::pdu
