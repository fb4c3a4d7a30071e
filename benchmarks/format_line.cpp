// Formats a line of the log's file by the system's own collector, by `snprintf` and by `fmt::format`, each into a
// string. Prints the nanoseconds that each takes, the best of some rounds.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <limits>
#include <string>

#include <fmt/format.h>

#include "framework/string/collector.h"

namespace {

constexpr unsigned lines = 200'000;
constexpr int rounds = 7;
constexpr const char* time_of_day = "07:08:09";
constexpr const char* text = "shutdown token can bus timeout 2500";

std::size_t made = 0; ///< keeps the compiler from leaving the work out

/// Nanoseconds a line.
template <class Make_line> double measure(Make_line make_line)
{
    const auto start = std::chrono::steady_clock::now();
    for (unsigned number = 0; number < lines; ++number) {
        made += make_line(number).size();
    }
    const std::chrono::duration<double, std::nano> passed = std::chrono::steady_clock::now() - start;
    return passed.count() / lines;
}

qv::string::Utf_8_string own(unsigned number)
{
    return qv::string::formatting::Collector("%06u.%03u  %s  %3u  %3u  %s\n")(number)(number % 1000)(
        time_of_day)(number % 17)(number % 40)(text);
}

std::string by_snprintf(unsigned number)
{
    char buffer[128];
    const int length = std::snprintf(buffer, sizeof buffer, "%06u.%03u  %s  %3u  %3u  %s\n", number, number % 1000,
                                     time_of_day, number % 17, number % 40, text);
    return {buffer, static_cast<std::size_t>(length)};
}

std::string by_fmt(unsigned number)
{
    return fmt::format("{:06}.{:03}  {}  {:3}  {:3}  {}\n", number, number % 1000, time_of_day, number % 17,
                       number % 40, text);
}

} // namespace

int main()
{
    constexpr double never = std::numeric_limits<double>::max();
    double best_own = never;
    double best_snprintf = never;
    double best_fmt = never;
    for (int round = 0; round < rounds; ++round) {
        best_own = std::min(best_own, measure(own));
        best_snprintf = std::min(best_snprintf, measure(by_snprintf));
        best_fmt = std::min(best_fmt, measure(by_fmt));
    }
    std::printf("%.1f %.1f %.1f %zu\n", best_own, best_snprintf, best_fmt, made % 10);
    return 0;
}
