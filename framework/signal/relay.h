#pragma once

#include <csignal>
#include <cstdint>

/// The way of a signal from its handler to an ordinary thread: a pipe, and the thread that reads it.
namespace qv::posix_signal::relay {

enum class Kind : std::uint32_t {
    operation,  ///< run the operation of the type
    last_words, ///< the process ends: write the log lines of the type and what is pending
    stop,       ///< end the thread
};

struct Record {
    Kind kind;
    std::uint32_t type;
    siginfo_t info;
};

/// Starts the thread, which hands each record to `receive`. False when the system has no room for it.
[[nodiscard]] bool start(void (*receive)(const Record&));
/// Ends the thread, behind the records that wait.
void stop();

/// Sends a record; lost when the pipe is full. Safe in a signal handler.
bool post(const Record& record) noexcept;
/// Sends a record and waits until the thread has dealt with it, `timeout_ms` at most. Returns at once on the
/// thread itself and when there is none. Safe in a signal handler.
void post_and_wait(const Record& record, int timeout_ms) noexcept;

} // namespace qv::posix_signal::relay
