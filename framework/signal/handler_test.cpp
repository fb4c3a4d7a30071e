#include "framework/signal/handler.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include <unistd.h>

#include <gtest/gtest.h>

#include "framework/log_hook.h"
#include "framework/thread/process_exit.h"

namespace qv::posix_signal {
namespace {

using testing::ExitedWithCode;

struct Ending_case {
    int number;
    int status; ///< the negated type bit, as far as an exit status holds it
    const char* report;
};

// clang-format off
const Ending_case ending_cases[] = {
    {SIGHUP,  0xFF, "hangup"},
    {SIGINT,  0xFE, "keyboard interrupt"},
    {SIGABRT, 0xFC, "abort"},
    {SIGQUIT, 0xF8, "terminated with error"},
    {SIGTERM, 0xF0, "normal termination"},
    {SIGILL,  0xE0, "illegal instruction at address 0x[0-9a-f]+"},
    {SIGFPE,  0xC0, "floating point exception at address 0x[0-9a-f]+"},
    {SIGBUS,  0x80, "bus error at address 0x[0-9a-f]+"},
    {SIGSEGV, 0x00, "segment violation at address 0x[0-9a-f]+"},
    {SIGSYS,  0x00, "bad system call argument"},
};
// clang-format on

TEST(Handler_test, a_signal_is_reported_and_ends_the_process_with_its_type)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const Ending_case& row : ending_cases) {
        const auto raise_and_stay = [&] {
            const Handler handler(type::all);
            ::kill(::getpid(), row.number);
            std::this_thread::sleep_for(std::chrono::seconds(10));
        };
        EXPECT_EXIT(raise_and_stay(), ExitedWithCode(row.status),
                    std::string("^\nsignal raised: ") + row.report + "\n$");
    }
}

class Log_lines final : public log::Sink {
public:
    Log_lines() { log::set_sink(this); }
    ~Log_lines() override { log::set_sink(nullptr); }
    bool accepts(log::Level level) const override { return level == 0; }
    void write(log::Level, log::Client, std::string_view text) override
    {
        std::fprintf(stderr, "log: %.*s\n", static_cast<int>(text.size()), text.data());
    }
    log::Client register_client(std::string_view) override { return 0; }
};

TEST(Handler_test, a_fault_still_gets_its_lines_into_the_log_and_the_pending_output_out)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto fault = [] {
        Log_lines log;
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

TEST(Handler_test, a_fault_while_the_log_is_stuck_ends_the_process_all_the_same)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
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
    bool silent() const { return received_ == 0; }

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

TEST(Handler_test, a_signal_goes_to_the_youngest_that_asked_for_it_and_back_when_that_ends)
{
    Recorder older(type::normal_termination | type::user_signal_1);
    {
        Recorder younger(type::user_signal_1);
        ::raise(SIGUSR1);
        younger.expect(type::user_signal_1);
        ::raise(SIGTERM);
        older.expect(type::normal_termination);
        EXPECT_TRUE(younger.silent());
        EXPECT_EQ(Handler::active_handler(), &younger);
    }
    ::raise(SIGUSR1);
    older.expect(type::user_signal_1);
}

TEST(Handler_test, the_former_action_comes_back_with_the_end_of_the_last_handler)
{
    static std::atomic<int> former_calls{0};
    struct sigaction former {};
    former.sa_handler = [](int) { ++former_calls; };
    struct sigaction original {};
    ASSERT_EQ(::sigaction(SIGUSR1, &former, &original), 0);
    {
        auto older = std::make_unique<Recorder>(type::user_signal_1);
        Recorder younger(type::user_signal_1);
        older.reset(); // not in the reverse order of their making
        ::raise(SIGUSR1);
        younger.expect(type::user_signal_1);
    }
    EXPECT_EQ(former_calls, 0);
    ::raise(SIGUSR1);
    EXPECT_EQ(former_calls, 1);
    EXPECT_EQ(Handler::active_handler(), nullptr);
    ::sigaction(SIGUSR1, &original, nullptr);
}

TEST(Handler_test, a_pipe_fault_is_reported_and_the_program_goes_on)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
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
