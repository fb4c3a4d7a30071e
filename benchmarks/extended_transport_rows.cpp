#include <cstdio>
#include <memory>
#include <stdexcept>

#include "bench/harness/kernel_peer.h"
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
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(
        ::popen((std::string(FLINTROW_BIN_DIR "/kernel_transfer ") + interface).c_str(), "r"), &::pclose);
    std::vector<Row> rows;
    for (const auto& what : {to, from}) {
        double seconds = 0;
        double cpu = 0;
        if (pipe == nullptr || std::fscanf(pipe.get(), "%lf %lf", &seconds, &cpu) != 2) {
            throw std::runtime_error("kernel_transfer failed");
        }
        const double rate = frames / seconds;
        rows.push_back({what, figure(rate, 0, "frames/s, ") + figure(cpu, 2, "CPU s"),
                        figure(bound, 0, "frames/s"), bound / rate, 1});
    }
    return rows;
}

} // namespace benchmarks
