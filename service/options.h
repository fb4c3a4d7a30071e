#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The arguments of `main`, which fills them first of all: the service reads its command line on the bus
/// thread, long after `main` has handed over control.
extern int main_argc;
extern char** main_argv;

namespace qv::can_bus::flr {

/// What the command line asks for.
struct Options {
    std::uint32_t verbose = 0;        ///< times that -v was given
    std::uint32_t quiet = 0;          ///< times that -q was given
    bool vt_enabled = true;           ///< cleared by -n and -w
    bool exit_on_completion = false;  ///< -e
    std::string write_file;           ///< the file of -w, empty without one
    std::string directory;            ///< the last one of -d, empty without one
    std::optional<std::int32_t> baud; ///< the bit rate of -b, in bit/s
};

/// Reads the command line; arguments that are no options are ignored. For an unknown option, a missing
/// argument and the help option the usage goes to the standard error stream, and the result is empty.
///
/// Not reentrant, as `getopt_long` is not.
std::optional<Options> parse_options(int argc, char** argv);

} // namespace qv::can_bus::flr
