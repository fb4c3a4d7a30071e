#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace benchmarks {

/// One frame of a candump log.
struct Logged_frame {
    double time; ///< seconds since the epoch
    std::uint32_t identifier;
    std::vector<std::uint8_t> data;

    std::uint32_t pgn() const
    {
        return (identifier >> 8 & 0xFF00) < 0xF000 ? identifier >> 8 & 0x3FF00 : identifier >> 8 & 0x3FFFF;
    }
    std::uint32_t source() const { return identifier & 0xFF; }
};

std::vector<Logged_frame> read_traffic(const std::string& path);

} // namespace benchmarks
