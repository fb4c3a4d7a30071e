#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace bench {

struct Router_options {
    std::uint16_t port = 39767;
    std::uint32_t bitrate = 0; ///< bits per second; 0 passes frames on at once
    std::string log;           ///< empty for none
};

/// Reads the command line. Nothing, and `exit_status` set, when the program is to end: 0 after --help, 2 after a
/// mistake, which is told on standard error.
[[nodiscard]] std::optional<Router_options> parse_router_options(int argc, char** argv, int& exit_status);

} // namespace bench
