#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "bench/make_update/update_writer.h"

namespace bench::update {

struct Options {
    std::string check; ///< the file to check; empty when one is to be made
    std::string input;
    std::string output;
    std::uint32_t base = 0; ///< where the first byte of a binary file goes
    Update update;          ///< without its program
};

/// Reads the command line. Nothing, and `exit_status` set, when the program is to end: 0 after --help, 2 after a
/// mistake, which is told on standard error.
[[nodiscard]] std::optional<Options> parse_options(int argc, char** argv, int& exit_status);

} // namespace bench::update
