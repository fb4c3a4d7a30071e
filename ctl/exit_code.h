#pragma once

#include <stdexcept>
#include <string>

namespace ctl {

/// The exit status of the program. `exit_meanings` tells them in `--help`; the man page lists them too.
enum class Exit {
    done = 0,
    failed = 1,
    usage = 2,
    unreachable = 3,
    timeout = 4,
    lost = 5,
    busy = 6,
    unknown_ecu = 7,
    ambiguous_ecu = 8,
    nothing_to_install = 9,
    update_failed = 10,
    no_session = 11,
    unseen = 12,
};

struct Exit_meaning {
    Exit exit;
    const char* meaning;
};

inline constexpr Exit_meaning exit_meanings[] = {
    {Exit::done, "done; with follow: the update succeeded"},
    {Exit::failed, "something else went wrong"},
    {Exit::usage, "the command line is wrong"},
    {Exit::unreachable, "the service cannot be reached"},
    {Exit::timeout, "the service did not answer in time"},
    {Exit::lost, "the service ended the connection"},
    {Exit::busy, "refused: a session is running, or its result is not acknowledged"},
    {Exit::unknown_ecu, "no such ECU"},
    {Exit::ambiguous_ecu, "more than one ECU fits"},
    {Exit::nothing_to_install, "no such update for the ECU, or it could not start"},
    {Exit::update_failed, "the update failed"},
    {Exit::no_session, "no session to follow or to acknowledge"},
    {Exit::unseen, "the session ended, but somebody else acknowledged its result first"},
};

/// Why a command cannot be done: ends it, is told on standard error and becomes the exit status, all in `main`.
/// What came from outside has to be `printable` in the message.
class Error : public std::runtime_error {
public:
    Error(Exit exit, const std::string& message)
        : std::runtime_error(message)
        , exit_(exit)
    {}
    Exit exit() const noexcept { return exit_; }

private:
    Exit exit_;
};

} // namespace ctl
