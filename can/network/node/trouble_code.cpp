#include "can/network/node/trouble_code.h"

#include <cstdio>

namespace qv::can_bus::diagnostic::trouble_code {

namespace {

constexpr std::size_t lamp_size = 2;
constexpr std::size_t code_size = 4;
constexpr std::uint8_t lamps_not_available = 0xFF;

/// SAE J1939-73 5.7.1.10, conversion method version 4.
Trouble_code decode_one(std::span<const std::uint8_t> bytes)
{
    Trouble_code code;
    code.spn = bytes[0] | std::uint32_t{bytes[1]} << 8 | (bytes[2] & 0xE0U) << 11;
    code.failure_mode_indicator = bytes[2] & 0x1F;
    code.conversion_method = (bytes[3] & 0x80) != 0;
    code.occurrence_count = bytes[3] & 0x7F;
    return code;
}

void append_one(std::vector<std::uint8_t>& payload, const Trouble_code& code)
{
    const std::uint32_t high_spn = (code.spn >> 11) & 0xE0;
    const std::uint32_t conversion = code.conversion_method ? 0x80 : 0;
    for (const std::uint32_t byte : {code.spn, code.spn >> 8, high_spn | (code.failure_mode_indicator & 0x1FU),
                                     conversion | (code.occurrence_count & 0x7FU)}) {
        payload.push_back(static_cast<std::uint8_t>(byte));
    }
}

} // namespace

std::string text(const Trouble_code& code)
{
    char line[96];
    std::snprintf(line, sizeof line, "SPN %u  occurrence count %u  failure mode indicator %u", code.spn,
                  unsigned{code.occurrence_count}, unsigned{code.failure_mode_indicator});
    return line;
}

std::string text(const List& list)
{
    std::string line;
    for (const Trouble_code& code : list) {
        line += (line.empty() ? "" : ", ") + text(code);
    }
    return line;
}

List decode(std::span<const std::uint8_t> payload)
{
    List list;
    for (std::size_t start = lamp_size; start + code_size <= payload.size(); start += code_size) {
        const Trouble_code code = decode_one(payload.subspan(start, code_size));
        if (code.spn != 0) {
            list.push_back(code);
        }
    }
    return list;
}

std::vector<std::uint8_t> encode(const List& list)
{
    std::vector<std::uint8_t> payload(lamp_size, lamps_not_available);
    payload.reserve(lamp_size + code_size * list.size());
    for (const Trouble_code& code : list) {
        append_one(payload, code);
    }
    if (list.empty()) {
        append_one(payload, {});
    }
    return payload;
}

} // namespace qv::can_bus::diagnostic::trouble_code
