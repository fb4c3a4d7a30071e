#include "framework/signal/handler.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <tuple>

#include <unistd.h>

#include <gtest/gtest.h>

#include "framework/log/test_kit.h"
#include "framework/thread/handle.h"
#include "framework/thread/process_exit.h"

namespace qv::posix_signal {
namespace {

using testing::ExitedWithCode;

/// A signal, the negated type bit as far as an exit status holds it, and the report.
// clang-format off
const std::tuple<int, int, const char*> ending_cases[] = {
    {SIGHUP, 0xFF, "hangup"}, {SIGINT, 0xFE, "keyboard interrupt"}, {SIGABRT, 0xFC, "abort"},
    {SIGQUIT, 0xF8, "terminated with error"}, {SIGTERM, 0xF0, "normal termination"},
    {SIGILL, 0xE0, "illegal instruction at address 0x[0-9a-f]+"},
    {SIGFPE, 0xC0, "floating point exception at address 0x[0-9a-f]+"},
    {SIGBUS, 0x80, "bus error at address 0x[0-9a-f]+"}, {SIGSYS, 0x00, "bad system call argument"},
    {SIGSEGV, 0x00, "segment violation at address 0x[0-9a-f]+"},
};
// clang-format on

class Handler_test : public testing::Test {
protected:
    Handler_test() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(Handler_test, a_signal_is_reported_and_ends_the_process_with_its_type)
{
    for (const auto& [number, status, report] : ending_cases) {
        const auto raise_and_stay = [signal = number] {
            const Handler handler(type::all);
            ::kill(::getpid(), signal);
            std::this_thread::sleep_for(std::chrono::seconds(10));
        };
        EXPECT_EXIT(raise_and_stay(), ExitedWithCode(status), std::string("^\nsignal raised: ") + report + "\n$");
    }
}

class Printed_log final : public log::test::Lines {
    void write(log::Level, log::Client, string::Utf_8_string text) override
    {
        std::fprintf(stderr, "log: %s\n", text.to_utf_8_string().c_str());
    }
};

TEST_F(Handler_test, a_fault_still_gets_its_lines_into_the_log_and_the_pending_output_out)
{
    const auto fault = [] {
        static Printed_log log;
        const Handler handler(type::all);
        thread::set_exit_flush([] {
            ::kill(::getpid(), SIGTERM); // must not cut the wait for these lines short
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            std::fputs("flushed\n", stderr);
        });
        ::raise(SIGBUS);
    };
    EXPECT_EXIT(fault(), ExitedWithCode(0x80),
                "^\nsignal raised: bus error at address 0x[0-9a-f]+\n"
                "log: signal raised: bus error at address 0x[0-9a-f]+\n"
                "log: terminated by signal #128\nflushed\n$");
}

/// Uses its stack up.
int descend(int depth)
{
    volatile char room[4096];
    room[depth % 4096] = 1;
    return depth < 0 ? 0 : descend(depth + 1) + room[0];
}

TEST_F(Handler_test, an_overflow_of_any_stack_is_reported)
{
    const auto overflow = [] {
        const Handler handler(type::all);
        descend(0);
    };
    const auto overflow_of_another = [] {
        const Handler handler(type::all);
        const auto other = std::make_shared<thread::Handle>("other");
        if (thread::argument_less::start(
                other, [] { descend(0); }, thread::Ending::join)) {
            other->join();
        }
    };
    EXPECT_EXIT(overflow(), ExitedWithCode(0), "signal raised: segment violation");
    EXPECT_EXIT(overflow_of_another(), ExitedWithCode(0), "signal raised: segment violation");
}

TEST_F(Handler_test, a_fault_while_the_log_is_stuck_ends_the_process_all_the_same)
{
    const auto fault = [] {
        const Handler handler(type::all);
        thread::set_exit_flush([] { ::pause(); });
        ::raise(SIGFPE);
    };
    EXPECT_EXIT(fault(), ExitedWithCode(0xC0), "floating point exception");
}

/// Notes what came, and on which thread.
class Recorder final : public Handler {
public:
    explicit Recorder(std::uint32_t mask) { install(mask); }
    ~Recorder() override { retire(); }
    void on_normal_termination(std::uint32_t type, const siginfo_t& info) override { note(type, info); }
    void on_user_signal_1(std::uint32_t type, const siginfo_t& info) override { note(type, info); }

    void expect(std::uint32_t type)
    {
        for (int turn = 0; turn < 5000 && received_ == 0; ++turn) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_EQ(received_.exchange(0), type);
    }

private:
    void note(std::uint32_t type, const siginfo_t& info)
    {
        EXPECT_NE(std::this_thread::get_id(), creator_) << "an operation must not run in the signal's context";
        EXPECT_EQ(info.si_pid, ::getpid());
        received_ = type;
    }

    std::thread::id creator_ = std::this_thread::get_id();
    std::atomic<std::uint32_t> received_{0};
};

TEST_F(Handler_test, a_signal_goes_to_the_youngest_that_asked_for_it_and_in_the_end_to_the_former_action)
{
    static std::atomic<int> former_calls{0};
    const auto original = std::signal(SIGUSR1, [](int) { ++former_calls; });
    auto older = std::make_unique<Recorder>(type::normal_termination | type::user_signal_1);
    for (const bool reverse : {true, false}) {
        auto younger = std::make_unique<Recorder>(type::user_signal_1);
        EXPECT_EQ(Handler::active_handler(), younger.get());
        ::raise(SIGUSR1);
        younger->expect(type::user_signal_1);
        ::raise(SIGTERM);
        older->expect(type::normal_termination);
        (reverse ? younger : older).reset(); // handlers may end in any order
        ::raise(SIGUSR1);
        (reverse ? older : younger)->expect(type::user_signal_1);
    }
    EXPECT_EQ(former_calls, 0);
    EXPECT_EQ(Handler::active_handler(), nullptr);
    ::raise(SIGUSR1);
    EXPECT_EQ(former_calls, 1);
    std::signal(SIGUSR1, original);
}

TEST_F(Handler_test, a_pipe_fault_is_reported_and_the_program_goes_on)
{
    const auto write_to_nobody = [] {
        const Handler handler(type::all);
        std::array<int, 2> ends{};
        static_cast<void>(::pipe(ends.data()));
        ::close(ends[0]);
        const bool refused = ::write(ends[1], "x", 1) == -1;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        ::_exit(refused ? 7 : 1);
    };
    EXPECT_EXIT(write_to_nobody(), ExitedWithCode(7), "^\nsignal raised: pipe fault\n$");
}

} // namespace
} // namespace qv::posix_signal
