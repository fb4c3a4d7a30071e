#include "bench/harness/kernel_peer.h"
#include "benchmarks/child.h"
#include "benchmarks/report.h"

namespace benchmarks {

/// Long messages between the network layer and the kernel's J1939 stack.
std::vector<Row> measure_extended_transport()
{
    const char* const interface = "vcan0";
    const std::string to = "1 MiB to the kernel's J1939 stack, 64 frames a tick";
    const std::string from = "1 MiB from it, windows of 100 frames";
    if (const auto obstacle = harness::Kernel_peer::obstacle(interface); !obstacle.empty()) {
        return {skipped(to, obstacle), skipped(from, obstacle)};
    }
    constexpr double frames = ((1 << 20) + 6) / 7;
    constexpr double bound = 1850; // what a bus of 250 kbit/s carries
    const auto figures = figures_of(std::string("kernel_transfer ") + interface, 4);
    std::vector<Row> rows;
    for (std::size_t row = 0; row < 2; ++row) {
        const double seconds = figures[2 * row];
        const double cpu = figures[2 * row + 1];
        const double rate = frames / seconds;
        rows.push_back({row == 0 ? to : from, figure(rate, 0, "frames/s, ") + figure(cpu, 2, "CPU s"),
                        figure(bound, 0, "frames/s"), bound / rate, 1});
    }
    return rows;
}

} // namespace benchmarks
