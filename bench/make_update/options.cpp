#include "bench/make_update/options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <getopt.h>

namespace bench::update {

namespace {

constexpr const char* help =
    "Usage: make_update --output FILE --version TEXT --ecu-info TEXT --sectors BASE:SIZE:COUNT [OPTION...] INPUT\n"
    "       make_update --check FILE\n"
    "Makes an update file from a program, or tells what one holds and what is wrong with it.\n\n"
    "  INPUT                       Intel HEX (it begins with ':') or plain bytes\n"
    "  --output FILE               the update file\n"
    "  --version TEXT              software version of the program\n"
    "  --ecu-info TEXT             which ECUs it is for: Key,value,value*Key,value*\n"
    "                              with the keys IG MN ECUi VSi FC VS Fi 'ECU P/N' 'Prod Fam' SN\n"
    "  --sectors BASE:SIZE:COUNT   COUNT flash sectors of SIZE bytes from BASE on; may be given again\n"
    "  --base ADDRESS              where plain bytes go (default: the first sector)\n"
    "  --line-length N             data bytes in a line (default 16)\n"
    "  --check FILE                print what FILE holds; problems with their line; exits 1 when there are any:\n"
    "                              what the service refuses, passes over, or takes for something else\n"
    "  --help                      this text\n\n"
    "Numbers are decimal, or hexadecimal with 0x. A file that would not pass its own check is not made.\n";

int complain(const char* words, const char* what)
{
    std::fprintf(stderr, "make_update: %s '%s'; see --help\n", words, what);
    return 2;
}

/// A number up to `limit` that `text` begins with; `text` moves behind it.
std::optional<std::uint32_t> take_number(const char*& text, std::uint32_t limit = UINT32_MAX)
{
    char* end = nullptr;
    errno = 0;
    const auto value = std::strtoull(text, &end, 0);
    if (end == text || errno != 0 || value > limit || *text == '-') {
        return std::nullopt;
    }
    text = end;
    return static_cast<std::uint32_t>(value);
}

bool take_sectors(const char* text, std::vector<Sector>& sectors)
{
    const auto base = take_number(text);
    const auto size = base && *text == ':' ? take_number(++text) : std::nullopt;
    const auto count = size && *text == ':' ? take_number(++text, 256) : std::nullopt;
    if (!count || *text != '\0' || *size == 0 || *count + sectors.size() > 256 ||
        std::uint64_t{*base} + std::uint64_t{*size} * *count > std::uint64_t{1} << 32) {
        return false;
    }
    for (std::uint32_t index = 0; index < *count; ++index) {
        const auto start = *base + index * *size;
        sectors.push_back({start, start + *size - 1});
    }
    return true;
}

const char* missing(const Options& options)
{
    const auto& update = options.update;
    return options.input.empty()                                      ? "INPUT"
           : options.output.empty()                                   ? "--output"
           : update.version.empty() || update.version.size() > 255    ? "--version"
           : update.ecu_info.empty() || update.ecu_info.size() > 1024 ? "--ecu-info"
           : update.ecu_info.back() != '*'                            ? "--ecu-info (it ends with '*')"
           : update.sectors.empty()                                   ? "--sectors"
                                                                      : nullptr;
}

} // namespace

std::optional<Options> parse_options(int argc, char** argv, int& exit_status)
{
    static const option long_options[] = {{"output", required_argument, nullptr, 'o'},
                                          {"version", required_argument, nullptr, 'v'},
                                          {"ecu-info", required_argument, nullptr, 'i'},
                                          {"sectors", required_argument, nullptr, 's'},
                                          {"base", required_argument, nullptr, 'b'},
                                          {"check", required_argument, nullptr, 'c'},
                                          {"line-length", required_argument, nullptr, 'l'},
                                          {"help", no_argument, nullptr, 'h'},
                                          {nullptr, 0, nullptr, 0}};
    Options options;
    std::optional<std::uint32_t> base;
    exit_status = 2;
    for (int letter = 0; (letter = ::getopt_long(argc, argv, "", long_options, nullptr)) != -1;) {
        const char* text = optarg;
        std::optional<std::uint32_t> number;
        switch (letter) {
            case 'o': options.output = optarg; break;
            case 'v': options.update.version = optarg; break;
            case 'i': options.update.ecu_info = optarg; break;
            case 'c': options.check = optarg; break;
            case 's':
                if (!take_sectors(text, options.update.sectors)) {
                    exit_status = complain("not BASE:SIZE:COUNT with at most 256 sectors:", optarg);
                    return std::nullopt;
                }
                break;
            case 'b':
            case 'l':
                number = take_number(text, letter == 'b' ? UINT32_MAX : 255);
                if (!number || *text != '\0' || (letter == 'l' && *number == 0)) {
                    exit_status = complain("not a number that fits here:", optarg);
                    return std::nullopt;
                }
                (letter == 'b' ? base.emplace(*number) : options.update.line_length = *number);
                break;
            case 'h':
                std::fputs(help, stdout);
                exit_status = 0;
                return std::nullopt;
            default: return std::nullopt; // getopt has told what is wrong
        }
    }
    options.input = optind < argc ? argv[optind] : "";
    if (!options.check.empty()) {
        return options;
    }
    if (const char* what = missing(options)) {
        exit_status = complain("missing, or too long:", what);
        return std::nullopt;
    }
    options.base = base.value_or(options.update.sectors.front().start);
    return options;
}

} // namespace bench::update
