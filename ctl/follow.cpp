#include "ctl/follow.h"

#include <csignal>
#include <iostream>

#include <poll.h>

#include "ctl/exit_code.h"
#include "ctl/json.h"
#include "ctl/text.h"
#include "ctl/watch.h"

namespace ctl {

namespace {

constexpr int interval = 200; ///< milliseconds between two reports
constexpr const char* make_way = "'flintrowctl acknowledge' makes way for the next session.";

volatile std::sig_atomic_t interrupted = 0;

void catch_interrupt()
{
    struct sigaction action {};
    ::sigaction(SIGINT, nullptr, &action);
    if (action.sa_handler == SIG_IGN) {
        return; // a script runs this in the background
    }
    action = {};
    action.sa_handler = [](int) { interrupted = 1; };
    ::sigaction(SIGINT, &action, nullptr);
}

/// Ends as the signal would have done, so that a script ends too.
void leave_interrupted(Display& display)
{
    display.end();
    std::cerr << "The session goes on. 'flintrowctl follow' shows it again." << std::endl;
    std::signal(SIGINT, SIG_DFL);
    std::raise(SIGINT);
}

Time now() { return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch()); }

/// The service ends by itself when an ECU refuses a step.
[[noreturn]] void tell_loss(const Error& error)
{
    throw Error(error.exit(),
                concat(error.what(),
                       " in the middle of the session\n"
                       "It does so when the ECU refuses a step: look at what it printed, check that the "
                       "file is meant for this ECU,\nstart the service again, scan the folders again, list, and "
                       "update again: the ECU may be waiting in its bootloader."));
}

Status next_status(Client& client)
{
    try {
        return client.status();
    } catch (const Error& error) {
        if (error.exit() == Exit::lost) {
            tell_loss(error);
        }
        throw;
    }
}

/// Shows one report after the other until the session has ended.
Watch::Verdict watch(Client& client, Display& display, Watch& watch, Status& status)
{
    for (;;) {
        status = next_status(client);
        const auto verdict = watch.on_status(status, now());
        if (verdict != Watch::Verdict::running) {
            return verdict;
        }
        display.show(watch.moment());
        ::poll(nullptr, 0, interval);
        if (interrupted != 0) {
            leave_interrupted(display);
        }
    }
}

void tell_result(Watch::Verdict verdict, const Status& status, Style style, bool begun)
{
    switch (verdict) {
        case Watch::Verdict::running: return;
        case Watch::Verdict::succeeded: break;
        case Watch::Verdict::failed:
            throw Error(Exit::update_failed,
                        concat(failure_text(status), begun ? "" : "\n", begun ? "" : make_way));
        case Watch::Verdict::no_session: throw Error(Exit::no_session, "no session is running");
        case Watch::Verdict::unseen:
            throw Error(Exit::unseen, "the session is over, but somebody else acknowledged its result first\n"
                                      "'flintrowctl list' tells which version the ECU runs.");
    }
    if (style != Style::json) {
        std::cout << "The update is complete." << std::endl << (begun ? "" : make_way) << (begun ? "" : "\n");
    }
}

} // namespace

std::string failure_text(const Status& status)
{
    const auto code = status.error.value_or(0);
    const auto& failure = meaning_of_failure(code);
    return concat("the update failed, code ", std::to_string(code), ": ", failure.meaning, "\n", failure.remedy);
}

void follow(Client& client, Style style, bool begun)
{
    catch_interrupt();
    const auto display = make_display(style);
    Watch session(begun);
    Status status;
    const auto verdict = [&] {
        try {
            return watch(client, *display, session, status);
        } catch (const Error&) {
            display->end();
            throw;
        }
    }();
    display->end();
    if (style == Style::json) {
        std::cout << to_json(status) << std::endl;
    }
    tell_result(verdict, status, style, begun);
}

} // namespace ctl
