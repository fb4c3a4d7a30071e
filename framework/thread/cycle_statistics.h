#pragma once

#include <cstdint>
#include <string>

#include "framework/average.h"
#include "framework/log/hook.h"
#include "framework/thread/clock.h"

namespace qv::thread {

/// The least, the mean and the largest of the values of a time window; reports them to the log when the window is
/// over and begins anew.
///
/// Thread: one.
class Cycle_statistic final : public math::Average<math::Unsigned_sample, math::Unsigned_sample> {
public:
    /// `window` in milliseconds.
    Cycle_statistic(std::string name, log::Client log_client, std::uint32_t window);

    /// Takes a value; `elapsed` is the time in milliseconds that counts towards the window.
    void sample(std::uint32_t value, std::uint32_t elapsed);

    std::uint32_t minimum() const noexcept { return minimum_; }
    std::uint32_t maximum() const noexcept { return maximum_; }

private:
    void widen(std::uint32_t value);
    void report() const;
    void restart();

    std::uint32_t maximum_ = 0;
    std::uint32_t minimum_ = 0;
    bool has_range_ = false;
    log::Client log_client_;
    std::uint32_t window_;
    std::string name_;
    std::uint32_t accumulated_ = 0; ///< milliseconds of the present window
};

/// How long the turns of a loop take, and how far their beginnings lie apart.
///
/// Thread: the loop's.
class Cycle_statistics {
public:
    /// Reports as "`name` duration" and "`name` interval" each `window` milliseconds.
    Cycle_statistics(const std::string& name, log::Client log_client, std::uint32_t window);

    /// At the beginning and the end of a turn.
    void begin();
    void end();

private:
    std::uint32_t interval_ = 0; ///< milliseconds from the last beginning to this one
    time::Milliseconds cycle_start_ = time::now_ms();
    Cycle_statistic duration_statistic_;
    Cycle_statistic interval_statistic_;
};

/// Logs how long it lived.
class Cycle_timer {
public:
    Cycle_timer(std::string name, log::Client log_client);
    ~Cycle_timer();
    Cycle_timer(const Cycle_timer&) = delete;
    Cycle_timer& operator=(const Cycle_timer&) = delete;

private:
    time::Milliseconds start_ = time::now_ms();
    log::Client log_client_;
    std::string name_;
};

} // namespace qv::thread
