#include <cstdio>
#include <exception>
#include <filesystem>
#include <string_view>

#include "benchmarks/report.h"

namespace benchmarks {

namespace {

const char* verdict(const Row& row)
{
    if (row.skipped) {
        return "skipped";
    }
    return row.ratio <= row.limit ? "ok" : "short";
}

} // namespace

std::string figure(double value, int digits, const char* unit)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f %s", digits, value, unit);
    return text;
}

Row skipped(const std::string& what, const std::string& why) { return {what, why, "", 0, 1, true}; }

void print(const std::vector<Row>& rows)
{
    for (const auto& row : rows) {
        std::printf("%-58s | %-34s | %-34s | %6.2f | %s\n", row.what.c_str(), row.measured.c_str(),
                    row.bound.c_str(), row.ratio, verdict(row));
    }
    std::fflush(stdout);
}

} // namespace benchmarks

/// Measures in one run and prints the table, row by row as the figures come: everything, or with "--can" what
/// needs CAN interfaces.
int main(int argc, char** argv)
try {
    const bool only_can = argc > 1 && std::string_view(argv[1]) == "--can";
    const std::string folder = argc > 1 && !only_can ? argv[1] : "build/benchmark";
    std::filesystem::create_directories(folder);
    std::printf("%-58s | %-34s | %-34s | %6s |\n", "what", "measured", "bound", "ratio");
    if (!only_can) {
        benchmarks::print(benchmarks::measure_image_parsing(folder));
        benchmarks::print(benchmarks::measure_frame_road());
        benchmarks::print(benchmarks::measure_log(folder));
        benchmarks::print(benchmarks::measure_service());
        benchmarks::print(benchmarks::measure_control_interface());
        benchmarks::print(benchmarks::measure_programming());
    }
    benchmarks::print({benchmarks::measure_programming_over_can()});
    benchmarks::print(benchmarks::measure_extended_transport());
    return 0;
} catch (const std::exception& error) { // caught, so that the processes of the row come to their end
    std::fprintf(stderr, "benchmark: %s\n", error.what());
    return 1;
}
