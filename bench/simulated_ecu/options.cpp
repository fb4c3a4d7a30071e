#include "bench/simulated_ecu/options.h"

#include <optional>
#include <string_view>

#include "bench/command_line/option_table.h"

namespace bench::simulated {
namespace {

using Text = std::string_view;

bool read_address(Text text, std::uint8_t& address) { return read(text, address, 0, 253); }

bool read_step(Text text, Step& step)
{
    const auto found = step_of(text == "middle" ? "data" : text);
    step = found.value_or(Step::enter);
    return found.has_value();
}

bool read_order(Text text, std::optional<Fault_order>& order)
{
    const std::size_t colon = text.find(':');
    Fault_order read_one;
    order = read_one;
    return read_step(text.substr(0, colon), order->step) &&
           (colon == Text::npos || read(text.substr(colon + 1), order->occurrence, 1, 1'000'000));
}

bool read_switch(Text text, bool& on)
{
    on = text == "on";
    return on || text == "off";
}

// clang-format off
constexpr Option_row<Options> rows[] = {
    {"", "", "The bus", nullptr},
    {"host", "HOST", "the router's machine [127.0.0.1]",
     [](Options& o, Text t) { o.host = t; return !t.empty(); }},
    {"port", "PORT", "the router's TCP port [39767]",
     [](Options& o, Text t) { return read(t, o.port, 1, 65535); }},
    {"can", "INTERFACE", "a CAN interface of this machine in place of the router",
     [](Options& o, Text t) { o.interface = t; return !t.empty(); }},
    {"label", "TEXT", "put in front of each line of the output",
     [](Options& o, Text t) { o.label = t; return true; }},
    {"verbose", "", "a line for each chunk too",
     [](Options& o, Text) { o.ecu.bootloader.verbose = true; return true; }},

    {"", "", "Who it is", nullptr},
    {"name", "HEX", "NAME, 64 bits [A0088400FFE00001]",
     [](Options& o, Text t) { return read(t, o.ecu.name, 0, UINT64_MAX, 16); }},
    {"address", "N", "first address to claim, 0..253 [0x80]",
     [](Options& o, Text t) { return read_address(t, o.ecu.address); }},
    {"part-number", "TEXT", "[PN-1000]",
     [](Options& o, Text t) { return read_field(t, o.ecu.identification.part_number); }},
    {"serial", "TEXT", "[100001]",
     [](Options& o, Text t) { return read_field(t, o.ecu.identification.serial_number); }},
    {"location", "TEXT", "[Frame]",
     [](Options& o, Text t) { return read_field(t, o.ecu.identification.location); }},
    {"type", "TEXT", "[Simulated]",
     [](Options& o, Text t) { return read_field(t, o.ecu.identification.type); }},
    {"manufacturer", "TEXT", "[Bench]",
     [](Options& o, Text t) { return read_field(t, o.ecu.identification.manufacturer); }},
    {"hardware-version", "TEXT", "a sixth field of the ECU identification [none]",
     [](Options& o, Text t) { return read_field(t, o.ecu.identification.hardware_version); }},
    {"bootloader-version", "TEXT", "[1.0]",
     [](Options& o, Text t) { return read_field(t, o.ecu.identification.bootloader_version); }},
    {"version", "TEXT", "of the application that runs at the start [1.0.0]",
     [](Options& o, Text t) { return read_field(t, o.ecu.identification.version); }},
    {"new-version", "TEXT", "of the application after a complete update [2.0.0]",
     [](Options& o, Text t) { return read_field(t, o.ecu.new_version); }},

    {"", "", "Its flash", nullptr},
    {"flash-base", "ADDRESS", "address of the first sector [0]",
     [](Options& o, Text t) { return read(t, o.ecu.flash.base, 0, UINT32_MAX); }},
    {"sector-size", "BYTES", "of each sector; K and M count [4K]",
     [](Options& o, Text t) { return read(t, o.ecu.flash.sector_size, 1, 1U << 28); }},
    {"sectors", "N", "number of sectors [256]",
     [](Options& o, Text t) { return read(t, o.ecu.flash.sectors, 1, 1U << 20); }},
    {"flash-out", "FILE", "written when an update completes and at the end: the bytes from the lowest to the "
                          "highest one written, gaps 0xFF",
     [](Options& o, Text t) { o.flash_file = t; return !t.empty(); }},

    {"", "", "How it behaves", nullptr},
    {"cts-window", "N", "packets that it asks for at a time, 1..255 [255]",
     [](Options& o, Text t) { return read(t, o.ecu.cts_window, 1, 255); }},
    {"seed", "HEX", "asks for this as the key in each exchange, 0..FFFE [none]",
     [](Options& o, Text t) { return read(t, o.ecu.bootloader.seed.emplace(), 0, 0xFFFE, 16); }},
    {"heartbeat", "on|off", "of the bootloader [on]",
     [](Options& o, Text t) { return read_switch(t, o.ecu.bootloader.heartbeat); }},
    {"heartbeat-ms", "MS", "between two heartbeats [250]",
     [](Options& o, Text t) { return read_time(t, o.ecu.bootloader.heartbeat_gap)
                                     && o.ecu.bootloader.heartbeat_gap > Time::zero(); }},
    {"delay-ms", "MS", "before each answer to the tool [0]",
     [](Options& o, Text t) { return read_time(t, o.ecu.bootloader.answer_delay); }},
    {"erase-ms", "MS", "that a sector takes on top [0]",
     [](Options& o, Text t) { return read_time(t, o.ecu.bootloader.erase_delay); }},
    {"write-ms", "MS", "that a chunk takes on top [0]",
     [](Options& o, Text t) { return read_time(t, o.ecu.bootloader.write_delay); }},
    {"restart-ms", "MS", "that a restart takes [300]",
     [](Options& o, Text t) { return read_time(t, o.ecu.restart_delay); }},

    {"", "", "Faults to order", nullptr},
    {"busy", "N", "answer the first N requests of a step with Busy",
     [](Options& o, Text t) { return read(t, o.ecu.faults.busy, 0, 1'000'000); }},
    {"busy-step", "STEP", "the step of --busy [erase]",
     [](Options& o, Text t) { return read_step(t, o.ecu.faults.busy_step); }},
    {"refuse", "STEP[:N]", "refuse a step at its first, or N-th, time",
     [](Options& o, Text t) { return read_order(t, o.ecu.faults.refuse) && o.ecu.faults.refuse->step != Step::data; }},
    {"silent", "STEP[:N]", "never say a word again from there on",
     [](Options& o, Text t) { return read_order(t, o.ecu.faults.silent); }},
    {"abort-transport", "N", "abort N transports of a chunk in their middle",
     [](Options& o, Text t) { return read(t, o.ecu.faults.abort_transport, 0, 1'000'000); }},
    {"lose", "PERCENT", "of the frames that it sends",
     [](Options& o, Text t) { return read(t, o.ecu.faults.lose, 0, 100); }},
    {"repeat", "PERCENT", "send so many of its frames twice",
     [](Options& o, Text t) { return read(t, o.ecu.faults.repeat, 0, 100); }},
    {"deaf", "PERCENT", "do not hear so many of the frames sent to it",
     [](Options& o, Text t) { return read(t, o.ecu.faults.deaf, 0, 100); }},
    {"fault-frames", "all|transport", "which frames --lose, --repeat and --deaf take [all]",
     [](Options& o, Text t) { return o.ecu.faults.transport_only = t == "transport", t == "all" || t == "transport"; }},
    {"fault-from", "STEP[:N]", "begin with --lose, --repeat and --deaf at a step's first, or N-th, time [at once]",
     [](Options& o, Text t) { return read_order(t, o.ecu.faults.from); }},
    {"random-seed", "N", "of --lose, --repeat and --deaf; the same number, the same frames [1]",
     [](Options& o, Text t) { return read(t, o.ecu.faults.random_seed, 1, UINT32_MAX); }},
    {"checksum-length", "N", "length that the message with the checksum tells [4]",
     [](Options& o, Text t) { return read(t, o.ecu.bootloader.checksum_length, 0, 255); }},
    {"no-return", "", "do not come back after the restart",
     [](Options& o, Text) { return o.ecu.no_return = true; }},
    {"return-address", "N", "come back at this address",
     [](Options& o, Text t) { return read_address(t, o.ecu.return_address.emplace()); }},

    {"", "", "", nullptr},
    {"help", "", "this text",
     [](Options& o, Text) { return o.help = true; }},
};
// clang-format on

std::string whole_check(const Options& options)
{
    const Flash::Layout& flash = options.ecu.flash;
    const std::uint64_t size = std::uint64_t{flash.sector_size} * flash.sectors;
    if (size > (1ULL << 28) || flash.base + size > (1ULL << 32)) {
        return "the flash may hold 256M and has to lie within 32-bit addresses";
    }
    return {};
}

} // namespace

std::string parse_options(std::span<const char* const> arguments, Options& options)
{
    auto wrong = parse_table<Options>(rows, arguments, options);
    return wrong.empty() ? whole_check(options) : wrong;
}

std::string help_text()
{
    std::string text = "Usage: simulated_ecu [OPTION]...\n"
                       "An ECU on the bus of a can_router, or of a CAN interface, that can be programmed over "
                       "DM14, DM15 and DM16. It tells\n"
                       "what happens to it, a line each, and runs until SIGTERM or SIGINT.\n";
    return text + table_text<Options>(rows) + "\nA STEP is one of " + step_names +
           " (or middle, the same as data).\n" + "Numbers are decimal, or hexadecimal with 0x.\n";
}

} // namespace bench::simulated
