#include "framework/thread/clock.h"

#include <atomic>

namespace qv::time {

namespace {

/// A longer step is a jump of the clock, not time that passed.
constexpr Milliseconds longest_step = 100'000;

std::atomic<std::time_t> offset{0};

/// The second from which the millisecond clock counts; only keeps the readings of two runs apart.
const auto base_second = static_cast<std::uint32_t>(adjusted_time());

} // namespace

Milliseconds now_ms() noexcept
{
    std::timespec now{};
    if (::clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        return 0;
    }
    return (static_cast<std::uint32_t>(now.tv_sec) - base_second) * 1000U +
           static_cast<std::uint32_t>(now.tv_nsec / 1'000'000);
}

Milliseconds elapsed_ms(Milliseconds& last) noexcept { return elapsed_ms(last, 0); }

Milliseconds elapsed_ms(Milliseconds& last, Milliseconds minimum) noexcept
{
    return elapsed_between(last, now_ms(), minimum);
}

Milliseconds elapsed_between(Milliseconds& last, Milliseconds now, Milliseconds minimum) noexcept
{
    const Milliseconds step = now - last; // right across a wrap
    const Milliseconds step_back = last - now;
    const bool advanced = step != 0 && step <= longest_step;
    const bool jumped = !advanced && step_back > longest_step;
    if (minimum != 0 && !jumped && (!advanced || step < minimum)) {
        return 0;
    }
    last = now;
    return advanced ? step : 0;
}

std::time_t adjusted_time() noexcept { return std::time(nullptr) + time_offset(); }

std::time_t time_offset() noexcept { return offset.load(std::memory_order_relaxed); }

void set_adjusted_time(std::time_t seconds) noexcept
{
    offset.store(seconds - std::time(nullptr), std::memory_order_relaxed);
}

} // namespace qv::time
