#pragma once

#include <cstdint>
#include <vector>

namespace qv::can_bus::ecu {

/// One functionality of a control function, such as "universal terminal" [ISO 11783-12, PGN 64654].
struct Functionality {
    static constexpr std::uint32_t option_maximum = 4;

    std::uint32_t id = 0;           ///< 0 to 255
    std::uint32_t generation = 0;   ///< 0 to 255
    std::uint32_t option_count = 0; ///< option bytes; more than `option_maximum` count as so many
    std::uint32_t options = 0;      ///< the option bytes, the first one in the lowest 8 bits
};

using Functionality_list = std::vector<Functionality>;

/// The payload of PGN 64654, at least 8 bytes. Of more than 255 functionalities only the first 255 are told.
std::vector<std::uint8_t> encode(const Functionality_list& list);

} // namespace qv::can_bus::ecu
