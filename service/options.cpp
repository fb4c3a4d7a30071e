#include "service/options.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include <getopt.h>

int main_argc = 0;
char** main_argv = nullptr;

namespace qv::can_bus::flr {

namespace {

constexpr const char* usage = "flintrow: An ISO programming utility\n"
                              "Usage: flintrow [OPTION...]\n"
                              "\n"
                              "  -v, --verbose        Increase verbosity\n"
                              "  -w, --write=FILE     File to bootload\n"
                              "  -n  --novt           No vt_client\n"
                              "  -e  --exit           Exit on bootload completion\n"
                              "  -d  --dir=PATH       Look for updates in folder\n"
                              "  -q  --quiet          No terminal progress bars\n"
                              "  -b  --baud           Change baud for programming\n"
                              "  -h, --help           Help menu\n";

constexpr const char* short_options = "vneqd:w:b:?";

// clang-format off
constexpr option long_options[] = {
    {"verbose", no_argument,       nullptr, 'v'},
    {"quiet",   no_argument,       nullptr, 'q'},
    {"novt",    no_argument,       nullptr, 'n'},
    {"exit",    no_argument,       nullptr, 'e'},
    {"dir",     required_argument, nullptr, 'd'},
    {"write",   required_argument, nullptr, 'w'},
    {"baud",    required_argument, nullptr, 'b'},
    {"help",    no_argument,       nullptr, '?'},
    {nullptr,   0,                 nullptr, 0},
};
// clang-format on

/// A decimal number, held within 32 bits; 0 for a text that is none.
std::int32_t number(const char* text)
{
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(
        std::clamp<long>(std::strtol(text, nullptr, 10), Limits::min(), Limits::max()));
}

/// Takes over one option; false for one that is unknown.
bool apply(Options& options, int option_letter)
{
    switch (option_letter) {
        case 'v': ++options.verbose; return true;
        case 'q': ++options.quiet; return true;
        case 'n': options.vt_enabled = false; return true;
        case 'e': options.exit_on_completion = true; return true;
        case 'd': options.directory = optarg; return true;
        case 'w':
            options.vt_enabled = false;
            options.write_file = optarg;
            return true;
        case 'b': options.baud = number(optarg); return true;
        default: return false;
    }
}

} // namespace

std::optional<Options> parse_options(int argc, char** argv)
{
    Options options;
    optind = 0; // begin anew, whatever was parsed before
    for (int letter = 0; (letter = getopt_long(argc, argv, short_options, long_options, nullptr)) != -1;) {
        if (!apply(options, letter)) {
            std::fputs(usage, stderr);
            return std::nullopt;
        }
    }
    return options;
}

} // namespace qv::can_bus::flr
