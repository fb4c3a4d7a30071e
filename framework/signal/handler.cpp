#include "framework/signal/handler.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <mutex>
#include <vector>

#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include "framework/log/hook.h"
#include "framework/signal/interruption.h"
#include "framework/signal/relay.h"
#include "framework/signal/report.h"
#include "framework/thread/process_exit.h"

namespace qv::posix_signal {

namespace {

constexpr std::size_t type_count = 12;

using Guard = std::lock_guard<std::mutex>;

/// The handlers that stand, the oldest first, and what they replaced.
struct Stack {
    std::mutex installing;                             ///< held while handlers come and go
    std::mutex operating;                              ///< held while an operation runs; taken inside `installing`
    std::vector<Handler*> handlers;                    ///< guarded by both
    std::array<unsigned, type_count> users{};          ///< guarded by `installing`
    std::array<struct sigaction, type_count> former{}; ///< guarded by `installing`
    bool relayed = false;                              ///< guarded by `installing`
};

Stack& stack()
{
    static Stack* const kept = new Stack; // outlives every static object
    return *kept;
}

constinit std::atomic<Handler*> youngest{nullptr};
/// The youngest handler of each type, where a signal handler finds it.
constinit std::array<std::atomic<Handler*>, type_count> responsible{};

std::uint32_t bit(std::size_t index) { return 1U << index; }

void refresh_responsible(const std::vector<Handler*>& handlers)
{
    youngest = handlers.empty() ? nullptr : handlers.back();
    for (std::size_t index = 0; index < type_count; ++index) {
        Handler* found = nullptr;
        for (Handler* const handler : handlers) {
            found = (handler->mask() & bit(index)) != 0 ? handler : found;
        }
        responsible[index] = found;
    }
}

void log_end(std::uint32_t type) { log::write(0, 0, "terminated by signal #%u", type); }

/// Tells that a signal came. For the ordinary thread.
void report(std::uint32_t type, const siginfo_t& info)
{
    const Safe_text text = report_text(type, info);
    write_report(text.view());
    log::write(0, 0, "%s", text.c_str());
}

/// Ends the process. For the ordinary thread.
void terminate(std::uint32_t type)
{
    log_end(type);
    thread::end_process(-static_cast<int>(type));
}

/// Reports and ends the process from the signal's context. The log lines are left to the ordinary thread, which
/// has a second for them: the failed thread may be holding a lock that they need.
[[noreturn]] void report_and_end(std::uint32_t type, const siginfo_t& info)
{
    static constinit std::atomic_flag ending = ATOMIC_FLAG_INIT;
    if (!ending.test_and_set()) {
        write_report(report_text(type, info).view());
        relay::post_and_wait({relay::Kind::last_words, type, info}, 1000);
    } else {
        ::poll(nullptr, 0, 2000); // another thread is reporting, or this one failed again while it did
    }
    ::_exit(-static_cast<int>(type));
}

/// The ordinary thread's share of a fatal end.
void write_last_words(std::uint32_t type, const siginfo_t& info)
{
    log::write(0, 0, "%s", report_text(type, info).c_str());
    log_end(type);
    thread::flush_before_exit();
    std::fflush(stdout);
}

} // namespace

struct Handler::Signal_wrapper {
    using Operation = void (Handler::*)(std::uint32_t, const siginfo_t&);

    /// By the position of the type bit.
    static constexpr std::array<int, type_count> signal_type_map = {
        SIGHUP, SIGINT, SIGABRT, SIGQUIT, SIGTERM, SIGILL, SIGFPE, SIGBUS, SIGSEGV, SIGSYS, SIGPIPE, SIGUSR1,
    };
    static constexpr std::array<Operation, type_count> signal_type_to_handler_map = {
        &Handler::on_hangup,
        &Handler::on_keyboard_interrupt,
        &Handler::on_abort,
        &Handler::on_terminated_with_error,
        &Handler::on_normal_termination,
        &Handler::on_illegal_instruction,
        &Handler::on_floating_point_exception,
        &Handler::on_bus_error,
        &Handler::on_segment_violation,
        &Handler::on_bad_system_call_argument,
        &Handler::on_pipe_fault,
        &Handler::on_user_signal_1,
    };

    static void on_signal(int number, siginfo_t* info, void* context);
    static void pass_on(std::size_t index, const siginfo_t& info);
    static void operate(std::size_t index, const siginfo_t& info);
    static void on_record(const relay::Record& record);
    static sigset_t ordinary_signals();
    static void take(Stack& stack, std::uint32_t mask);
    static void give_back(Stack& stack, std::uint32_t mask);
};

/// The real signal handler.
void Handler::Signal_wrapper::on_signal(int number, siginfo_t* info, void*)
{
    const int saved_error = errno;
    // A user signal for this very thread asks it to end; one for the process is a signal like the others.
    const bool taken = number == SIGUSR1 && info->si_code == SI_TKILL && thread::current::interrupt_own_thread();
    const auto found = std::find(signal_type_map.begin(), signal_type_map.end(), number);
    if (!taken && found != signal_type_map.end()) {
        pass_on(static_cast<std::size_t>(found - signal_type_map.begin()), *info);
    }
    errno = saved_error;
}

void Handler::Signal_wrapper::pass_on(std::size_t index, const siginfo_t& info)
{
    if ((bit(index) & type::fatal) != 0) {
        operate(index, info);
    } else {
        relay::post({relay::Kind::operation, bit(index), info});
    }
}

void Handler::Signal_wrapper::operate(std::size_t index, const siginfo_t& info)
{
    if (Handler* const handler = responsible[index]) {
        (handler->*signal_type_to_handler_map[index])(bit(index), info);
    }
}

void Handler::Signal_wrapper::on_record(const relay::Record& record)
{
    if (record.kind == relay::Kind::last_words) {
        write_last_words(record.type, record.info);
        return;
    }
    const Guard guard(stack().operating);
    operate(static_cast<std::size_t>(__builtin_ctz(record.type)), record.info);
}

/// What is kept out while the real signal handler runs, so that the report of a fault and the wait for its log
/// lines are not cut short. Faults still come.
sigset_t Handler::Signal_wrapper::ordinary_signals()
{
    sigset_t set{};
    ::sigemptyset(&set);
    for (std::size_t index = 0; index < type_count; ++index) {
        if ((bit(index) & type::fatal) == 0) {
            ::sigaddset(&set, signal_type_map[index]);
        }
    }
    return set;
}

void Handler::Signal_wrapper::take(Stack& stack, std::uint32_t mask)
{
    for (std::size_t index = 0; index < type_count; ++index) {
        if ((mask & bit(index)) == 0 || stack.users[index]++ != 0) {
            continue;
        }
        struct sigaction action {};
        action.sa_sigaction = &on_signal;
        action.sa_mask = ordinary_signals();
        // The user signal is there to interrupt a thread; the others are not.
        action.sa_flags = SA_SIGINFO | SA_ONSTACK | (bit(index) == type::user_signal_1 ? 0 : SA_RESTART);
        ::sigaction(signal_type_map[index], &action, &stack.former[index]);
    }
}

void Handler::Signal_wrapper::give_back(Stack& stack, std::uint32_t mask)
{
    for (std::size_t index = 0; index < type_count; ++index) {
        if ((mask & bit(index)) != 0 && --stack.users[index] == 0) {
            ::sigaction(signal_type_map[index], &stack.former[index], nullptr);
        }
    }
}

Handler::Handler(std::uint32_t mask) { install(mask); }

Handler::~Handler() { retire(); }

Handler* Handler::active_handler() noexcept { return youngest; }

void Handler::install(std::uint32_t mask)
{
    Stack& all = stack();
    const Guard installing(all.installing);
    if (all.handlers.empty()) {
        all.relayed = relay::start(&Signal_wrapper::on_record);
    }
    mask_ = mask & (all.relayed ? type::all : type::fatal);
    {
        const Guard operating(all.operating);
        all.handlers.push_back(this);
        refresh_responsible(all.handlers);
    }
    Signal_wrapper::take(all, mask_);
}

void Handler::retire()
{
    Stack& all = stack();
    const Guard installing(all.installing);
    const auto found = std::find(all.handlers.begin(), all.handlers.end(), this);
    if (found == all.handlers.end()) {
        return;
    }
    Signal_wrapper::give_back(all, mask_);
    {
        const Guard operating(all.operating); // an operation that runs is waited for
        all.handlers.erase(found);
        refresh_responsible(all.handlers);
    }
    if (all.handlers.empty() && all.relayed) {
        relay::stop();
    }
}

void Handler::on_hangup(std::uint32_t type, const siginfo_t& info)
{
    report(type, info);
    terminate(type);
}

void Handler::on_keyboard_interrupt(std::uint32_t type, const siginfo_t& info)
{
    report(type, info);
    terminate(type);
}

void Handler::on_terminated_with_error(std::uint32_t type, const siginfo_t& info)
{
    report(type, info);
    terminate(type);
}

void Handler::on_normal_termination(std::uint32_t type, const siginfo_t& info)
{
    report(type, info);
    terminate(type);
}

void Handler::on_abort(std::uint32_t type, const siginfo_t& info) { report_and_end(type, info); }

void Handler::on_illegal_instruction(std::uint32_t type, const siginfo_t& info) { report_and_end(type, info); }

void Handler::on_floating_point_exception(std::uint32_t type, const siginfo_t& info)
{
    report_and_end(type, info);
}

void Handler::on_bus_error(std::uint32_t type, const siginfo_t& info) { report_and_end(type, info); }

void Handler::on_segment_violation(std::uint32_t type, const siginfo_t& info) { report_and_end(type, info); }

void Handler::on_bad_system_call_argument(std::uint32_t type, const siginfo_t& info)
{
    report_and_end(type, info);
}

void Handler::on_pipe_fault(std::uint32_t type, const siginfo_t& info) { report(type, info); }

void Handler::on_user_signal_1(std::uint32_t type, const siginfo_t& info) { report(type, info); }

} // namespace qv::posix_signal
