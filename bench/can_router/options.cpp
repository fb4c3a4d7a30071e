#include "bench/can_router/options.h"

#include <charconv>
#include <cstdio>
#include <cstring>

#include <getopt.h>

namespace bench {

namespace {

constexpr const char* help = "Usage: can_router [OPTION...]\n"
                             "Passes CAN frames between the programs that connect to it over TCP.\n\n"
                             "  --port NUMBER    TCP port on 127.0.0.1 (default 39767; 0 takes a free one)\n"
                             "  --bitrate BITS   let the frames share a bus of that many bits per second\n"
                             "  --log FILE       write the traffic to FILE in candump's format\n"
                             "  --help           this text\n\n"
                             "It prints the port on which it listens, and ends on SIGINT or SIGTERM.\n";

/// The whole text as a number within the limits.
template <class Number> bool parse_number(const char* text, Number low, Number high, Number& result)
{
    const char* end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, result);
    return error == std::errc() && stop == end && result >= low && result <= high;
}

} // namespace

std::optional<Router_options> parse_router_options(int argc, char** argv, int& exit_status)
{
    static const option long_options[] = {{"port", required_argument, nullptr, 'p'},
                                          {"bitrate", required_argument, nullptr, 'b'},
                                          {"log", required_argument, nullptr, 'l'},
                                          {"help", no_argument, nullptr, 'h'},
                                          {nullptr, 0, nullptr, 0}};
    Router_options options;
    exit_status = 2;
    for (int letter = 0; (letter = ::getopt_long(argc, argv, "", long_options, nullptr)) != -1;) {
        bool good = true;
        switch (letter) {
            case 'p': good = parse_number<std::uint16_t>(optarg, 0, UINT16_MAX, options.port); break;
            case 'b': good = parse_number<std::uint32_t>(optarg, 1000, 10'000'000, options.bitrate); break;
            case 'l': options.log = optarg; break;
            case 'h':
                std::fputs(help, stdout);
                exit_status = 0;
                return std::nullopt;
            default: return std::nullopt; // getopt has told what is wrong
        }
        if (!good) {
            std::fprintf(stderr, "can_router: '%s' is out of range; see --help\n", optarg);
            return std::nullopt;
        }
    }
    if (optind < argc) {
        std::fprintf(stderr, "can_router: what is '%s' for? see --help\n", argv[optind]);
        return std::nullopt;
    }
    return options;
}

} // namespace bench
