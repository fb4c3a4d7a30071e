#pragma once

#include <chrono>
#include <deque>
#include <optional>

#include "ctl/state.h"

namespace ctl {

using Time = std::chrono::milliseconds; ///< since any one moment

/// How fast the percentage of one step grows, by what the last seconds brought.
class Pace {
public:
    void restart() { samples_.clear(); }
    void add(Time now, int percent);
    /// Percent per second; nothing before a second of it has been seen.
    std::optional<double> rate() const;
    /// Until 100 %; nothing while the rate is unknown, or nothing moves.
    std::optional<std::chrono::seconds> left() const;

private:
    struct Sample {
        Time time;
        int percent;
    };
    std::deque<Sample> samples_; ///< where the percentage changed; the first is the oldest that counts
    Time now_{};
};

/// What there is to show of a running session.
struct Moment {
    State state = State::idle; ///< idle: the bit rate of the bus is changed
    std::optional<int> percent;
    std::optional<double> rate; ///< percent per second
    std::optional<std::chrono::seconds> left;
    Time in_state{};
};

/// Follows a session by the reports of the service.
///
/// The service tells idle as well while it changes the bit rate, which comes after the wait for the bootloader,
/// and after the result was acknowledged, maybe by somebody else. Passive: reports and time are handed in.
class Watch {
public:
    enum class Verdict {
        running,
        succeeded,
        failed,
        no_session, ///< there was none
        unseen,     ///< somebody acknowledged the result before it was seen
    };

    /// `begun`: a session has just been started, so that there is one.
    explicit Watch(bool begun) noexcept
        : last_(begun ? std::optional(State::start) : std::nullopt)
    {}

    Verdict on_status(const Status& status, Time now);
    const Moment& moment() const noexcept { return moment_; }

private:
    Verdict on_idle(Time now);
    void measure(const Status& status, Time now);

    std::optional<State> last_;      ///< the last one but idle; nothing before the first report
    std::optional<Time> idle_since_; ///< while the service tells idle
    std::optional<Time> state_since_;
    Pace pace_;
    Moment moment_;
};

} // namespace ctl
