#include <filesystem>

#include "benchmarks/child.h"
#include "benchmarks/report.h"

namespace benchmarks {

std::vector<Row> measure_log(const std::string& folder)
{
    const auto place = folder + "/log";
    std::filesystem::create_directories(place);
    const auto formatting = figures_of("format_line", 3);
    const double own = formatting[0];
    const double by_snprintf = formatting[1];
    const double by_fmt = formatting[2];
    const auto lines = figures_of("log_lines " + place, 5);
    const double rate = lines[0];
    const double longest = lines[1];
    const double other_rate = lines[2];
    const double other_longest = lines[3];
    const double refused = lines[4];
    return {{"formatting a line of the log's file", figure(own, 0, "ns"),
             "3 times fmt's " + figure(by_fmt, 0, "ns") + " (snprintf " + figure(by_snprintf, 0, "ns") + ")",
             own / by_fmt, 3},
            {"log lines from two threads, until all are in the file", figure(rate, 0, "lines/s"),
             "half of spdlog's " + figure(other_rate, 0, "lines/s"), other_rate / rate, 2},
            {"the same: the longest that one call holds its caller", figure(longest, 0, "us"),
             "twice spdlog's " + figure(other_longest, 0, "us"), longest / other_longest, 2},
            {"a log call that the level refuses", figure(refused, 1, "ns"), "50 ns", refused / 50, 1}};
}

} // namespace benchmarks
