#include "can/network/ecu/functionality.h"

#include <algorithm>
#include <span>

namespace qv::can_bus::ecu {

namespace {

constexpr std::size_t entry_maximum = 255;
constexpr std::size_t payload_minimum = 8;
constexpr std::uint8_t not_used = 0xFF;

void append(std::vector<std::uint8_t>& payload, const Functionality& entry)
{
    const std::uint32_t option_count = std::min(entry.option_count, Functionality::option_maximum);
    for (const std::uint32_t value : {entry.id, entry.generation, option_count}) {
        payload.push_back(static_cast<std::uint8_t>(value));
    }
    for (std::uint32_t index = 0; index < option_count; ++index) {
        payload.push_back(static_cast<std::uint8_t>(entry.options >> (8 * index)));
    }
}

} // namespace

std::vector<std::uint8_t> encode(const Functionality_list& list)
{
    const auto told = std::span(list).first(std::min(list.size(), entry_maximum));
    std::vector<std::uint8_t> payload{not_used, static_cast<std::uint8_t>(told.size())};
    for (const Functionality& entry : told) {
        append(payload, entry);
    }
    payload.resize(std::max(payload.size(), payload_minimum), not_used);
    return payload;
}

} // namespace qv::can_bus::ecu
