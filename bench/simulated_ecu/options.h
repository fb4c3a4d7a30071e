#pragma once

#include "bench/simulated_ecu/ecu.h"

#include <cstdint>
#include <span>
#include <string>

namespace bench::simulated {

/// The command line of `simulated_ecu`.
struct Options {
    std::string host = "127.0.0.1";
    std::uint16_t port = 39767;
    std::string interface;  ///< of CAN, in place of the router
    std::string label;      ///< in front of each line of the output
    std::string flash_file; ///< empty: none
    bool help = false;
    Ecu::Settings ecu;
};

/// Reads `--option value` and `--option=value`, the program's own name left out. An empty text, or what is wrong.
[[nodiscard]] std::string parse_options(std::span<const char* const> arguments, Options& options);

/// All options, one a line, with their defaults.
[[nodiscard]] std::string help_text();

} // namespace bench::simulated
