#include "bench/wifi_node/options.h"

#include <string_view>

#include "bench/command_line/option_table.h"

namespace bench::wifi {
namespace {

using Text = std::string_view;

bool read_answer(Text text, Answers& answers)
{
    auto answer = parse_answer(text);
    const bool good = answer.has_value();
    answers.add(std::move(answer).value_or(Answer{}));
    return good;
}

// clang-format off
constexpr Option_row<Options> rows[] = {
    {"", "", "The bus", nullptr},
    {"host", "HOST", "the router's machine [127.0.0.1]",
     [](Options& o, Text t) { o.host = t; return !t.empty(); }},
    {"port", "PORT", "the router's TCP port [39767]",
     [](Options& o, Text t) { return read(t, o.port, 1, 65535); }},
    {"no-bus", "", "only the HTTP server",
     [](Options& o, Text) { o.bus = false; return true; }},
    {"label", "TEXT", "put in front of each line of the output",
     [](Options& o, Text t) { o.label = t; return true; }},

    {"", "", "Who it is on the bus", nullptr},
    {"name", "HEX", "NAME, 64 bits [A000840012E00010]",
     [](Options& o, Text t) { return read(t, o.gateway.name, 0, UINT64_MAX, 16); }},
    {"address", "N", "first address to claim, 0..253 [0x90]",
     [](Options& o, Text t) { return read(t, o.gateway.address, 0, 253); }},
    {"part-number", "TEXT", "[PN-1000]",
     [](Options& o, Text t) { return read_field(t, o.gateway.identification.part_number); }},
    {"serial", "TEXT", "[100001]",
     [](Options& o, Text t) { return read_field(t, o.gateway.identification.serial_number); }},
    {"type", "TEXT", "[Simulated]",
     [](Options& o, Text t) { return read_field(t, o.gateway.identification.type); }},
    {"version", "TEXT", "of what runs at the start; an update brings its own [1.0.0]",
     [](Options& o, Text t) { return read_field(t, o.gateway.identification.version); }},
    {"host-name", "TEXT", "that it reports, without .local [node-1]",
     [](Options& o, Text t) { return read_field(t, o.gateway.host_name); }},
    {"report-ms", "MS", "from one report of the host name to the next; 0: none [2000]",
     [](Options& o, Text t) { return read_time(t, o.gateway.report_gap); }},

    {"", "", "Its HTTP server", nullptr},
    {"http-port", "PORT", "TCP port on 127.0.0.1; 0 takes a free one [0]",
     [](Options& o, Text t) { return read(t, o.http.port, 0, 65535); }},
    {"user", "TEXT", "of the basic authentication [the service's]",
     [](Options& o, Text t) { o.http.user = t; return true; }},
    {"password", "TEXT", "[the service's]",
     [](Options& o, Text t) { o.http.password = t; return true; }},
    {"package-out", "FILE", "an uploaded package is written there",
     [](Options& o, Text t) { o.http.package_path = t; return !t.empty(); }},

    {"", "", "How it installs", nullptr},
    {"install-polls", "N", "requests for the state until it is done [5]",
     [](Options& o, Text t) { return read(t, o.installer.polls, 0, 1'000'000); }},
    {"final-state", "TEXT", "[rebooting]",
     [](Options& o, Text t) { o.installer.final_state = t; return t.find_first_of("\"\\") == Text::npos; }},
    {"install-error", "N", "that it ends with [0]",
     [](Options& o, Text t) { return read(t, o.installer.error, 0, INT32_MAX); }},
    {"reboot-ms", "MS", "that it is away, from bus and network, after an installation [3000]",
     [](Options& o, Text t) { return read_time(t, o.reboot_time); }},
    {"no-return", "", "do not come back then",
     [](Options& o, Text) { return o.no_return = true; }},

    {"", "", "Its moods", nullptr},
    {"upload", "ANSWER", "to the first, second, ... upload, the last one for all that follow [usual]",
     [](Options& o, Text t) { return read_answer(t, o.http.upload); }},
    {"install", "ANSWER", "to the requests to install, likewise [usual]",
     [](Options& o, Text t) { return read_answer(t, o.http.install); }},
    {"status", "ANSWER", "to the requests for the state, likewise [usual]",
     [](Options& o, Text t) { return read_answer(t, o.http.status); }},
    {"answer-ms", "MS", "that it takes before each answer [0]",
     [](Options& o, Text t) { return read_time(t, o.http.answer_delay); }},
    {"read-rate", "BYTES", "of an upload that it reads in a second; 0: as fast as it goes [0]",
     [](Options& o, Text t) { return read(t, o.http.read_rate, 0, UINT32_MAX); }},
    {"stop-reading", "BYTES", "of an upload after which it reads no more",
     [](Options& o, Text t) { return read(t, o.http.stop_reading, 0, UINT64_MAX); }},
    {"break-off", "BYTES", "of an upload after which it ends the connection",
     [](Options& o, Text t) { return read(t, o.http.break_off, 0, UINT64_MAX); }},

    {"", "", "", nullptr},
    {"help", "", "this text",
     [](Options& o, Text) { return o.help = true; }},
};
// clang-format on

} // namespace

std::string parse_options(std::span<const char* const> arguments, Options& options)
{
    return parse_table<Options>(rows, arguments, options);
}

std::string help_text()
{
    std::string text =
        "Usage: wifi_node [OPTION]...\n"
        "A node that takes an update package over HTTP and installs it on the ECU that it is on the\n"
        "bus of a can_router. It tells what happens to it, a line each, and runs until SIGTERM or\n"
        "SIGINT.\n";
    return text + table_text<Options>(rows) + "\nAn ANSWER is one of " + answer_words +
           ".\nNumbers are decimal, or hexadecimal with 0x.\n";
}

} // namespace bench::wifi
