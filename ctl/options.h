#pragma once

#include <optional>
#include <string>

#include "ctl/client.h"

namespace ctl {

enum class Command { status, list, show, scan, directories, update, follow, acknowledge, clear, shutdown };

/// The command line.
struct Options {
    Command command = Command::status;
    Peer peer;
    bool json = false;
    std::string ecu;       ///< of show and update: what names it
    std::string directory; ///< of scan: absolute, without "." and ".."
    std::string version;   ///< of update; empty: the preferred one
    bool follow = false;   ///< of update
};

/// Nothing when there is nothing more to do than to end with `status`: after help, and after a wrong command line,
/// which was told on standard error. Throws an `Error` when the command line is right and the machine is not.
std::optional<Options> parse_options(int count, char** arguments, int& status);

} // namespace ctl
