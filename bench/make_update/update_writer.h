#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/make_update/image_input.h"

namespace bench::update {

struct Sector {
    std::uint32_t start; ///< first byte
    std::uint32_t end;   ///< last byte
};

/// What goes into an update file.
struct Update {
    Runs program;
    std::vector<Sector> sectors; ///< at most 256
    std::string version;         ///< at most 255 characters
    std::string ecu_info;        ///< "Key,value,value*Key,value*", at most 1024 characters
    unsigned line_length = 16;   ///< data bytes a line, 1 to 255
};

/// The text of the update file, each line ended by a line feed.
[[nodiscard]] std::string write_update(const Update& update);

/// Whether every byte of the program lies in a sector; if not, `address` is the first that does not.
[[nodiscard]] bool sectors_hold(const std::vector<Sector>& sectors, const Runs& program, std::uint32_t& address);

} // namespace bench::update
