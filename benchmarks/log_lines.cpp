// Measures the log against spdlog's asynchronous file logger with its defaults, in the directory named on the
// command line: two threads log lines, from the first to the moment when all are in the file. Prints, for each of
// the two, lines a second and the longest time in microseconds that one call held its caller, and then the
// nanoseconds of a call that the level refuses.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <thread>

#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include "comm/master.h"
#include "log/primary.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned lines_of_a_thread = 100'000; // together they fit into what may wait
constexpr int rounds = 5;
constexpr qv::log::Level level = 5;

struct Result {
    double lines_a_second = 0;
    double longest_us = std::numeric_limits<double>::max();
};

double seconds_since(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Logs the lines of one thread. The longest call in microseconds.
template <class Log_line> double talk(Log_line log_line)
{
    double longest = 0;
    for (unsigned number = 0; number < lines_of_a_thread; ++number) {
        const auto start = Clock::now();
        log_line(number);
        longest = std::max(longest, seconds_since(start) * 1e6);
    }
    return longest;
}

/// The best of both figures over the rounds: what other processes take of the machine is nobody's fault.
template <class Log_line, class Finish> void measure(Result& best, Log_line log_line, Finish finish)
{
    const auto start = Clock::now();
    double other_longest = 0;
    std::thread other([&] { other_longest = talk(log_line); });
    const double longest = talk(log_line);
    other.join();
    finish();
    best.lines_a_second = std::max(best.lines_a_second, 2 * lines_of_a_thread / seconds_since(start));
    best.longest_us = std::min(best.longest_us, std::max(longest, other_longest));
}

void measure_own(Result& best, const std::string& folder)
{
    if (qv::log::create("benchmark", {1, 0, 0, 0}, folder, '/', level) == nullptr) {
        std::exit(1);
    }
    const auto log_line = [](unsigned number) {
        qv::log::write(level, 1, "a line with %u and %s", number, "text");
    };
    measure(best, log_line, &qv::log::destroy);
}

void measure_other(Result& best, const std::string& folder)
{
    spdlog::init_thread_pool(std::size_t{1} << 18, 1); // as many lines as ours holds, so that neither waits
    auto logger = spdlog::basic_logger_mt<spdlog::async_factory>("benchmark", folder + "/other.txt", true);
    const auto log_line = [&logger](unsigned number) { logger->info("a line with {} and {}", number, "text"); };
    measure(best, log_line, [&logger] {
        logger.reset();
        spdlog::shutdown();
    });
}

double measure_refused(const std::string& folder)
{
    constexpr unsigned calls = 10'000'000;
    const auto log = qv::log::create("benchmark", {1, 0, 0, 0}, folder, '/', level);
    const auto start = Clock::now();
    for (unsigned number = 0; number < calls; ++number) {
        qv::log::write(level + 1, 1, "a line with %u and %s", number, "text");
    }
    const double nanoseconds = seconds_since(start) * 1e9 / calls;
    qv::log::destroy();
    return nanoseconds;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string folder = argc > 1 ? argv[1] : ".";
    constexpr std::uint32_t flags = qv::comm::flag::time_tick | qv::comm::flag::thread_handle;
    if (!qv::comm::core_start(0) || !qv::comm::handlers_start("benchmark", flags) ||
        !qv::comm::start_primary_thread()) {
        return 1;
    }
    Result own;
    Result other;
    for (int round = 0; round < rounds; ++round) {
        measure_own(own, folder);
        measure_other(other, folder);
    }
    const double refused = measure_refused(folder);
    qv::comm::master_stop();
    std::printf("%.0f %.1f %.0f %.1f %.2f\n", own.lines_a_second, own.longest_us, other.lines_a_second,
                other.longest_us, refused);
    return 0;
}
