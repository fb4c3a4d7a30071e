#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/make_update/image_input.h"
#include "bench/make_update/layout.h"

namespace bench::update {

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

} // namespace bench::update
