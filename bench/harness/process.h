#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace harness {

using std::chrono::milliseconds;

/// A program that runs beside its caller. What it writes to standard output and standard error is kept.
class Process {
public:
    /// Starts it with these arguments, the first being the program, and these variables ("NAME=value") added to
    /// the caller's own environment.
    explicit Process(const std::vector<std::string>& arguments, const std::vector<std::string>& variables = {});
    /// Kills it when it still runs.
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// Waits until its output holds `text`, from the place on where the last hit ended. False when the time is
    /// over, or the program ended without it.
    bool says(const std::string& text, milliseconds limit = std::chrono::seconds(20));
    /// Everything written so far.
    const std::string& output();
    void signal(int number) const;
    /// Waits for its end: the exit status, or minus the number of the signal that ended it. Nothing when it
    /// still runs at the end of the time.
    std::optional<int> ends(milliseconds limit = std::chrono::seconds(20));
    /// The TCP port on which it listens, as soon as it does. Nothing when the time is over.
    std::optional<std::uint16_t> listens(milliseconds limit = std::chrono::seconds(20));
    pid_t id() const noexcept { return id_; }

private:
    bool read_some(milliseconds limit);

    pid_t id_ = -1;
    int pipe_ = -1;
    std::string output_;
    std::size_t heard_ = 0; ///< end of the last hit of `says`
    std::optional<int> status_;
};

} // namespace harness
