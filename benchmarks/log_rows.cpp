#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "benchmarks/report.h"

namespace benchmarks {

std::vector<Row> measure_log(const std::string& folder)
{
    const auto place = folder + "/log";
    std::filesystem::create_directories(place);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(
        ::popen((FLINTROW_BIN_DIR "/log_lines " + place).c_str(), "r"), &::pclose);
    double rate = 0;
    double longest = 0;
    double other_rate = 0;
    double other_longest = 0;
    double refused = 0;
    if (pipe == nullptr || std::fscanf(pipe.get(), "%lf %lf %lf %lf %lf", &rate, &longest, &other_rate,
                                       &other_longest, &refused) != 5) {
        throw std::runtime_error("log_lines failed");
    }
    return {{"log lines from two threads, until all are in the file", figure(rate, 0, "lines/s"),
             "half of spdlog's " + figure(other_rate, 0, "lines/s"), other_rate / rate, 2},
            {"the same: the longest that one call holds its caller", figure(longest, 0, "us"),
             "twice spdlog's " + figure(other_longest, 0, "us"), longest / other_longest, 2},
            {"a log call that the level refuses", figure(refused, 1, "ns"), "50 ns", refused / 50, 1}};
}

} // namespace benchmarks
