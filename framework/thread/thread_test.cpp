#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "framework/log/test_kit.h"
#include "framework/thread/clock.h"
#include "framework/thread/cycle_statistics.h"
#include "framework/thread/handle.h"
#include "framework/thread/mutex.h"
#include "framework/thread/process_exit.h"
#include "framework/thread/signal.h"
#include "framework/thread/thread_manager.h"

namespace qv::thread {
namespace {

using namespace std::chrono_literals;

using log::test::Lines;

TEST(Clock_test, counts_what_passed_across_wraps_jumps_and_short_passes)
{
    // clang-format off
    const std::array<std::uint32_t, 5> rows[] = {
        {1000, 1000,       0, 0,      1000},        // stands still
        {1000, 1003,       3, 3,      1003},
        {1000, 1002,       3, 0,      1000},        // too short: counted later
        {1000, 999,        3, 0,      1000},        // went back
        {1000, 0,          3, 0,      1000},        // could not be read
        {1000, 999,        0, 0,      999},
        {0x80001000, 0,    3, 0,      0},           // could not be read: lost
        {0, 0x80001000,    3, 0,      0x80001000},  // and the count begins anew
        {1000, 101000,     3, 100000, 101000},
        {1000, 101001,     3, 0,      101001},      // jumped
        {0xFFFFFFFE, 2,    3, 4,      2},           // wrapped
        {0xFFFFFFFE, 0,    3, 0,      0xFFFFFFFE},
    };
    // clang-format on
    for (const auto& [before, now, minimum, elapsed, afterwards] : rows) {
        std::uint32_t last = before;
        EXPECT_EQ(time::elapsed_between(last, now, minimum), elapsed) << before << " " << now;
        EXPECT_EQ(last, afterwards) << before << " " << now;
    }
}

TEST(Mutex_test, reports_its_first_failure_once)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the misuse that makes a mutex fail is what the sanitizer reports";
#endif
    Lines log;
    Mutex mutex;
    ASSERT_TRUE(mutex.lock());
    EXPECT_FALSE(mutex.destroy()) << "somebody holds it";
    EXPECT_EQ(log.lines, std::vector<std::string>{"2 0 destruction failed"});
    EXPECT_EQ(mutex.status(), Mutex::Status::ok);
    EXPECT_TRUE(mutex.unlock());
    EXPECT_TRUE(mutex.destroy());
    EXPECT_FALSE(mutex.lock());
    EXPECT_TRUE(mutex.create() && mutex.lock() && mutex.unlock());
}

/// True when a function says so.
struct Condition final : Predicate_non_parameterized {
    explicit Condition(std::function<bool()> function)
        : function_(std::move(function))
    {}
    bool evaluate() const override { return function_(); }
    const std::function<bool()> function_;
};

TEST(Signal_test, wait_ends_by_the_clock_alone_when_no_raise_comes)
{
    const auto signal = signal::Signal::create();
    bool holds = false;
    const Condition condition([&] { return holds; });
    const auto begin = time::now_ms();
    EXPECT_EQ(signal->wait_unless(condition, 30), 0);
    EXPECT_GE(time::now_ms() - begin, 30U);
    holds = true;
    EXPECT_EQ(signal->wait(condition, 10), 0) << "a test that holds already is no raise";
    EXPECT_EQ(signal->wait_unless(condition, 0), 1);
}

/// Two threads hand a token to and fro; a raise that got lost would leave both asleep.
TEST(Signal_test, a_raise_between_test_and_sleep_is_not_lost)
{
    std::atomic<int> turn{0};
    const auto signal = signal::Signal::create();
    const auto play = [&](int own) {
        const Condition my_turn([&] { return turn == own; });
        for (int round = 0; round < 5000; ++round) {
            EXPECT_EQ(signal->wait_unless(my_turn, 0), 1);
            turn = 1 - own;
            signal->raise();
        }
    };
    std::thread other(play, 1);
    play(0);
    other.join();
}

std::atomic<int> runs{0};
std::vector<std::string> lifecycle;
std::mutex lifecycle_mutex;

void note_lifecycle(const std::shared_ptr<Handle>& handle, bool finished)
{
    const std::lock_guard guard(lifecycle_mutex);
    lifecycle.push_back(handle->name() + (finished ? " ended" : " began"));
}

TEST(Handle_test, a_thread_is_joined_once_and_tells_its_begin_and_end)
{
    set_lifecycle_hook(&note_lifecycle);
    const auto handle = std::make_shared<Handle>("worker");
    EXPECT_FALSE(handle->stop()) << "nothing was started";
    ASSERT_TRUE(argument_less::start(
        handle, [] { ++runs; }, Ending::join));
    EXPECT_FALSE(argument_less::start(
        handle, [] { ++runs; }, Ending::join));
    EXPECT_EQ(handle->error(), EBUSY);
    EXPECT_TRUE(handle->stop());
    EXPECT_FALSE(handle->join() || handle->kill() || handle->cancel());
    EXPECT_EQ(handle->error(), ESRCH);
    set_lifecycle_hook(nullptr);
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(lifecycle, (std::vector<std::string>{"worker began", "worker ended"}));
    auto argument = std::make_unique<int>(10);
    ASSERT_TRUE(argument::start(
        handle, [](std::unique_ptr<int> value) { runs += *value; }, std::move(argument), Ending::join));
    EXPECT_TRUE(handle->join());
    EXPECT_EQ(runs, 11);
}

TEST(Handle_test, two_owners_may_end_the_same_thread_but_not_it_itself)
{
    static Handle handle("shared");
    const auto routine = [](void*) -> void* {
        EXPECT_FALSE(handle.join()) << "which would never end";
        return nullptr;
    };
    for (int round = 0; round < 100; ++round) {
        ASSERT_TRUE(handle.start(routine, nullptr, Ending::join));
        std::atomic<int> joined{0};
        std::thread other([&] { joined += handle.stop() ? 1 : 0; });
        joined += handle.join() ? 1 : 0;
        other.join();
        EXPECT_EQ(joined, 1);
    }
}

TEST(End_process_test, leaves_at_once_with_its_output_while_others_run)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    static bool armed = false; // in the process that is to leave at once
    static const struct Slow_end {
        ~Slow_end()
        {
            if (armed) {
                ::_exit(99); // tells that static objects were destroyed
            }
        }
    } slow_end;
    const auto leave = [] {
        armed = true;
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
        std::thread([] { std::this_thread::sleep_for(10s); }).detach();
        std::fputs("unflushed ", stdout);
        set_exit_flush([] { std::fputs("flushed", stdout); });
        std::thread([] { end_process(3); }).join();
    };
    EXPECT_EXIT(leave(), testing::ExitedWithCode(3), "unflushed flushed$");
}

TEST(Cycle_statistic_test, reports_when_the_window_of_time_is_over)
{
    Lines log;
    Cycle_statistic statistic("loop duration", 4, 10);
    statistic.sample(3, 5);
    statistic.sample(8, 5);
    EXPECT_TRUE(log.lines.empty()) << "10 ms are not above the window";
    statistic.sample(1, 1);
    EXPECT_EQ(log.lines.at(0), "16 4 loop duration minimum 1 ms, average 4 ms, maximum 8 ms, call count 3");
    statistic.sample(7, 11);
    EXPECT_EQ(log.lines.at(1), "16 4 loop duration minimum 7 ms, average 7 ms, maximum 7 ms, call count 1");
}

/// Does to the manager what a test wants when its time comes.
class Actor final : public Item {
public:
    void on_time_elapsed(const std::uint32_t& elapsed) override
    {
        total += elapsed;
        if (act) {
            act();
        }
    }
    std::uint32_t total = 0;
    std::function<void()> act;
};

TEST(Thread_manager_test, items_may_come_and_go_while_they_are_driven)
{
    Thread_manager manager;
    Actor first;
    Actor leaving;
    Actor last;
    Actor newcomer;
    EXPECT_FALSE(manager.add(3, &first) || manager.add(0, nullptr));
    for (Actor* const actor : {&first, &leaving, &last}) {
        EXPECT_TRUE(manager.add(2, actor));
    }
    leaving.act = [&] { manager.remove(2, &leaving); };
    last.act = [&] { manager.add(2, &newcomer); };
    manager.run(2, 3);
    EXPECT_EQ(first.total + leaving.total + last.total + newcomer.total, 12U);
    last.act = nullptr;
    manager.run(2, 4);
    manager.run(1, 100);
    EXPECT_EQ(leaving.total, 3U);
    EXPECT_EQ(newcomer.total, 7U);
    EXPECT_FALSE(manager.remove(2, &leaving));
    manager.clear();
    manager.run(2, 100);
    EXPECT_EQ(last.total, 7U);
}

} // namespace
} // namespace qv::thread
