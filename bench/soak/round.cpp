#include "bench/soak/round.h"

#include <array>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <thread>

namespace soak {

namespace {

using Moment = Round::Moment;
using std::chrono::milliseconds;

constexpr std::array stops{SIGTERM, SIGINT, SIGHUP};
constexpr std::array moments{Moment::at_once, Moment::early, Moment::claiming, Moment::after_claim};
constexpr const char* session_begins = "Initailize"; // follows after the signal handlers are in place
constexpr const char* own_claim = "[0xf9]";
constexpr int hang_up_status = 255;

milliseconds longest_delay(Moment moment)
{
    switch (moment) {
        case Moment::at_once: return milliseconds(0);
        case Moment::early: return milliseconds(50);
        case Moment::claiming: return milliseconds(600);
        case Moment::after_claim: return milliseconds(200);
    }
    return milliseconds(0);
}

[[noreturn]] void fail(const Round& round, const std::string& what, harness::Process& service)
{
    throw std::runtime_error(round.program + ", " + ::strsignal(round.signal) + " in moment " +
                             std::to_string(static_cast<int>(round.moment)) + " after " +
                             std::to_string(round.delay.count()) + " ms: " + what + "\n" + service.output());
}

Reached reached_by(harness::Process& service)
{
    const auto& words = service.output();
    if (words.find(own_claim) != words.npos) {
        return Reached::claim;
    }
    return words.find(session_begins) != words.npos ? Reached::handlers : Reached::nothing;
}

/// Before the handlers are in place a signal ends the process by itself; later a hang-up has a status of its own.
bool is_due(int status, int signal, Reached reached)
{
    const bool ended_by_signal = status == -signal;
    const bool ended_in_order = status == (signal == SIGHUP ? hang_up_status : 0);
    return ended_in_order || (ended_by_signal && reached == Reached::nothing);
}

/// The service's folder holds a whole configuration with the settings of the start, and no foreign file.
bool left_in_order(const harness::Bench& bench)
{
    const auto path = bench.configuration_path();
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(path).parent_path())) {
        const std::string found = entry.path();
        if (found != path && found != path + ".backup" && found != path + ".temp") {
            return false;
        }
    }
    const auto text = harness::read_file(path);
    return text.find("enable_b=\"true\"") != text.npos && text.find("</configuration>") != text.npos;
}

} // namespace

Round round_of(std::uint32_t number, std::mt19937& random)
{
    Round round;
    round.signal = stops[number % stops.size()];
    round.moment = moments[number / stops.size() % moments.size()];
    std::uniform_int_distribution<milliseconds::rep> delays(0, longest_delay(round.moment).count());
    round.delay = milliseconds(delays(random));
    return round;
}

Reached play(const Round& round, harness::Bench& bench)
{
    const auto service = bench.start_service({"-v"}, round.program);
    if (round.moment == Moment::after_claim && !service->says(own_claim, round.limit)) {
        fail(round, "no address was claimed", *service);
    }
    std::this_thread::sleep_for(round.delay);
    const Reached reached = reached_by(*service);
    service->signal(round.signal);
    const auto status = service->ends(round.limit);
    if (!status) {
        fail(round, "it hangs", *service);
    }
    if (!is_due(*status, round.signal, reached)) {
        fail(round, "it ended with " + std::to_string(*status), *service);
    }
    const auto& words = service->output();
    if (words.find("Sanitizer") != words.npos || words.find("runtime error") != words.npos) {
        fail(round, "the sanitizer reports", *service);
    }
    if (!left_in_order(bench)) {
        fail(round, "it left the configuration's folder in disorder", *service);
    }
    return reached;
}

} // namespace soak
