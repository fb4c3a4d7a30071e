// soak COUNT WORKERS PROGRAM [INSTRUMENTED]: starts and stops PROGRAM, and in each fourth round INSTRUMENTED.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "bench/soak/round.h"

namespace {

using namespace std::chrono_literals;

constexpr long router_growth_limit_kib = 512;

/// Thread: none; the workers count in it.
struct Totals {
    std::atomic<std::uint32_t> next{0}, done{0}, nothing{0}, handlers{0}, claim{0}, instrumented{0}, failures{0};
};

volatile std::sig_atomic_t interrupted = 0;

/// A handler, unlike an ignored signal, is not handed down: the services begin with the usual reactions.
void catch_signals()
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(number, [](int) { interrupted = 1; });
    }
}

/// What a router could lose by clients that come and go.
struct Holdings {
    std::ptrdiff_t descriptors = 0;
    long resident_kib = 0;
};

Holdings holdings_of(int process)
{
    const auto folder = std::filesystem::path("/proc") / std::to_string(process);
    Holdings holdings;
    holdings.descriptors =
        std::distance(std::filesystem::directory_iterator(folder / "fd"), std::filesystem::directory_iterator());
    std::ifstream file(folder / "statm");
    long total = 0;
    file >> total >> holdings.resident_kib;
    holdings.resident_kib *= 4;
    return holdings;
}

/// The router notices the end of its last client a moment later.
void expect_no_leak(const Holdings& before, int router)
{
    Holdings after = holdings_of(router);
    for (int attempt = 0; attempt < 40 && after.descriptors != before.descriptors; ++attempt) {
        std::this_thread::sleep_for(50ms);
        after = holdings_of(router);
    }
    if (after.descriptors != before.descriptors ||
        after.resident_kib > before.resident_kib + router_growth_limit_kib) {
        throw std::runtime_error("the router holds " + std::to_string(after.descriptors) + " descriptors and " +
                                 std::to_string(after.resident_kib) + " KiB, before the first start " +
                                 std::to_string(before.descriptors) + " and " +
                                 std::to_string(before.resident_kib));
    }
}

struct Plan {
    std::uint32_t count = 0;
    std::string program;
    std::string instrumented; ///< empty without one
};

void play_next(const Plan& plan, std::uint32_t number, std::mt19937& random, harness::Bench& bench, Totals& totals)
{
    auto round = soak::round_of(number, random);
    const bool instrumented = !plan.instrumented.empty() && number / 12 % 4 == 0; // 12: each signal at each moment
    round.program = instrumented ? plan.instrumented : plan.program;
    round.limit = instrumented ? 60s : 20s;
    switch (soak::play(round, bench)) {
        case soak::Reached::nothing: ++totals.nothing; break;
        case soak::Reached::handlers: ++totals.handlers; break;
        case soak::Reached::claim: ++totals.claim; break;
    }
    totals.instrumented += instrumented ? 1 : 0;
    const auto done = ++totals.done;
    if (done % std::max(plan.count / 20, 1U) == 0) {
        std::printf("%u of %u\n", done, plan.count);
        std::fflush(stdout);
    }
}

/// Plays rounds until none is left or one failed, in a folder and at a router of its own.
void work(const Plan& plan, Totals& totals)
{
    try {
        harness::Bench bench;
        bench.start_router();
        const auto before = holdings_of(bench.router().id());
        std::mt19937 random(bench.port());
        for (auto number = totals.next++; number < plan.count; number = totals.next++) {
            if (totals.failures > 0 || interrupted != 0) {
                return;
            }
            play_next(plan, number, random, bench, totals);
        }
        expect_no_leak(before, bench.router().id());
    } catch (const std::exception& error) {
        ++totals.failures;
        std::fprintf(stderr, "soak: %s\n", error.what());
    }
}

void print(const Totals& totals, std::chrono::duration<double> passed)
{
    std::printf(
        "%u starts and stops in %.0f s: %u before the session's first word, %u before the claim, %u after it; "
        "%u of them with the address sanitizer\n",
        totals.done.load(), passed.count(), totals.nothing.load(), totals.handlers.load(), totals.claim.load(),
        totals.instrumented.load());
}

} // namespace

int main(int argc, char** argv)
{
    const Plan plan{argc > 3 ? static_cast<std::uint32_t>(std::strtoul(argv[1], nullptr, 10)) : 0,
                    argc > 3 ? argv[3] : "", argc > 4 ? argv[4] : ""};
    if (plan.count == 0) {
        std::fputs("Usage: soak COUNT WORKERS PROGRAM [INSTRUMENTED]\n", stderr);
        return 2;
    }
    catch_signals();
    const auto start = std::chrono::steady_clock::now();
    Totals totals;
    std::vector<std::thread> workers;
    for (int left = std::clamp(std::atoi(argv[2]), 1, 64); left > 0; --left) {
        workers.emplace_back([&] { work(plan, totals); });
    }
    for (auto& worker : workers) {
        worker.join();
    }
    print(totals, std::chrono::steady_clock::now() - start);
    const bool good = totals.failures == 0 && totals.done == plan.count;
    std::puts(good ? "no hang, no leak" : "FAILED");
    return good ? 0 : 1;
}
