#pragma once

#include <chrono>

namespace bench::simulated {

/// Monotonic, in milliseconds from any start; handed in with each event, so nothing here reads a clock.
using Time = std::chrono::milliseconds;
inline constexpr Time never = Time::max();

/// A point in time that something waits for.
class Timer {
public:
    void start(Time now, Time length) noexcept { due_ = now + length; }
    void stop() noexcept { due_ = never; }
    [[nodiscard]] bool ended(Time now) const noexcept { return now >= due_; }
    [[nodiscard]] Time due() const noexcept { return due_; } ///< `never` when it does not run

private:
    Time due_ = never;
};

} // namespace bench::simulated
