#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "benchmarks/report.h"

namespace benchmarks {

namespace {

/// Reads one line of figures from a program of this folder.
template <class... Figures>
void run(const std::string& program, const std::string& argument, const char* format, Figures*... figures)
{
    const std::string command = FLINTROW_BIN_DIR "/" + program + " " + argument;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(::popen(command.c_str(), "r"), &::pclose);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    if (pipe == nullptr || std::fscanf(pipe.get(), format, figures...) != sizeof...(figures)) {
        throw std::runtime_error(program + " failed");
    }
#pragma GCC diagnostic pop
}

} // namespace

std::vector<Row> measure_log(const std::string& folder)
{
    const auto place = folder + "/log";
    std::filesystem::create_directories(place);
    double own = 0;
    double by_snprintf = 0;
    double by_fmt = 0;
    run("format_line", "", "%lf %lf %lf", &own, &by_snprintf, &by_fmt);
    double rate = 0;
    double longest = 0;
    double other_rate = 0;
    double other_longest = 0;
    double refused = 0;
    run("log_lines", place, "%lf %lf %lf %lf %lf", &rate, &longest, &other_rate, &other_longest, &refused);
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
