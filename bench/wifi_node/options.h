#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "bench/wifi_node/gateway.h"
#include "bench/wifi_node/http_server.h"
#include "bench/wifi_node/installer.h"

namespace bench::wifi {

/// The command line of `wifi_node`.
struct Options {
    bool bus = true;
    std::string host = "127.0.0.1";
    std::uint16_t port = 39767;
    std::string label; ///< in front of each line of the output
    bool help = false;
    Gateway::Settings gateway;
    Http_server::Settings http;
    Installer::Settings installer;
    Time reboot_time{3000};
    bool no_return = false; ///< stays away after the restart
};

/// Reads `--option value` and `--option=value`, the program's own name left out. An empty text, or what is wrong.
[[nodiscard]] std::string parse_options(std::span<const char* const> arguments, Options& options);

/// All options, one a line, with their defaults.
[[nodiscard]] std::string help_text();

} // namespace bench::wifi
