#include <algorithm>
#include <stdexcept>

#include "bench/can_router/frame_length.h"
#include "bench/harness/bench.h"
#include "bench/harness/can_interfaces.h"
#include "benchmarks/report.h"
#include "benchmarks/traffic.h"

namespace benchmarks {

namespace {

constexpr std::size_t program_size = 256 << 10;
constexpr double chunks = (program_size + 767) / 768;
constexpr std::uint32_t memory_access_request = 0xD900;
constexpr std::uint32_t transport_data = 0xEB00;
constexpr double bit_rate = 250000;
constexpr const char* eight_a_tick = "<ecu><tp tx_dt_message_count_time_cycle_maximum_c=\"8\"/></ecu>";

bool is_write(const Logged_frame& frame)
{
    return frame.pgn() == memory_access_request && (frame.data.at(1) >> 1 & 7) == 2 && (frame.data[1] & 0x10) == 0;
}

bool is_read(const Logged_frame& frame)
{
    return frame.pgn() == memory_access_request && (frame.data.at(1) >> 1 & 7) == 1;
}

/// The frames from the first write request to the request for the checksum.
std::vector<Logged_frame> writing_phase(const std::vector<Logged_frame>& frames)
{
    const auto begin = std::find_if(frames.begin(), frames.end(), is_write);
    return {begin, std::find_if(begin, frames.end(), is_read)};
}

/// Programs an ECU that answers at once.
void program(harness::Bench& bench, const std::vector<std::string>& options)
{
    const auto update = bench.make_update(program_size);
    const auto ecu = bench.start_ecu({"--cts-window", "255", "--sectors", "128"});
    std::vector<std::string> arguments{"-q", "-w", update, "-e"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const auto service = bench.start_service(arguments);
    if (!service->says("Programming Complete!", std::chrono::minutes(5)) ||
        bench.flash().substr(0, program_size) != bench.program()) {
        throw std::runtime_error("programming failed: " + service->output());
    }
}

/// The frames of the writing phase over a router.
std::vector<Logged_frame> program(const std::vector<std::string>& router_options, const std::string& settings)
{
    harness::Bench bench;
    bench.start_router(router_options);
    bench.write_configuration(settings);
    program(bench, {});
    bench.stop_router();
    return writing_phase(read_traffic(bench.path("traffic.log")));
}

/// The same over two controllers on one bus. The rate is named so that the service sets its queue up as well.
std::vector<Logged_frame> program_over_can(const std::string& settings)
{
    harness::Bench bench;
    bench.use_can("can1", "can0");
    bench.write_configuration(settings);
    const auto log = bench.path("traffic.log");
    const harness::Process candump({"/bin/sh", "-c", "exec candump -L can0 > " + log});
    program(bench, {"-b", "250000"});
    return writing_phase(read_traffic(log));
}

/// The time between the bursts of a long message, which the service sends one a tick.
double tick_length(const std::vector<Logged_frame>& frames)
{
    std::vector<double> gaps;
    for (std::size_t index = 1; index + 3 < frames.size(); ++index) {
        const auto& before = frames[index - 1];
        const auto& frame = frames[index];
        const double gap = frame.time - before.time;
        if (before.pgn() == transport_data && frame.pgn() == transport_data && gap > 0.001) {
            gaps.push_back(gap);
        }
    }
    if (gaps.empty()) {
        throw std::runtime_error("no bursts in the traffic");
    }
    std::nth_element(gaps.begin(), gaps.begin() + static_cast<std::ptrdiff_t>(gaps.size() / 2), gaps.end());
    return gaps[gaps.size() / 2];
}

/// The share of the time in which a frame was on the bus.
double bus_load(const std::vector<Logged_frame>& frames)
{
    double bits = 0;
    for (const auto& frame : frames) {
        bench::Record record{.identifier = frame.identifier,
                             .length = static_cast<std::uint8_t>(frame.data.size())};
        std::copy(frame.data.begin(), frame.data.end(), record.data.begin());
        bits += bench::frame_length(record);
    }
    return bits / bit_rate / (frames.back().time - frames.front().time);
}

} // namespace

std::vector<Row> measure_programming()
{
    const auto free = program({}, "");
    const double seconds = free.back().time - free.front().time;
    const double ticks = seconds / chunks / tick_length(free);
    const auto paced = program({"--bitrate", "250000"}, eight_a_tick);
    const double load = bus_load(paced) * 100;
    return {{"programming 256 KiB, unpaced: ticks for a 768-byte chunk",
             figure(ticks, 1, "ticks of ") + figure(tick_length(free) * 1000, 2, "ms"),
             "36 (28 without a round trip)", ticks / 36, 1},
            {"the same at 250 kbit/s, 8 frames a tick: bus used", figure(load, 1, "%"), "70 %", 70 / load, 1}};
}

Row measure_programming_over_can()
{
    const char* const what = "256 KiB over can1 at 250 kbit/s, 8 frames a tick: bus used";
    if (const auto obstacle = harness::obstacle({"can0", "can1"}); !obstacle.empty()) {
        return skipped(what, obstacle);
    }
    const double load = bus_load(program_over_can(eight_a_tick)) * 100;
    return {what, figure(load, 1, "%"), "85 %", 85 / load, 1};
}

} // namespace benchmarks
