#pragma once

#include <cstdint>

namespace qv::timeout {

/// A timer of `period_ms` that counts the elapsed time of time messages. What follows the end of its time is
/// told by `reload`.
template <std::uint32_t period_ms> class Base {
public:
    virtual ~Base() = default;
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;

    /// Counts `elapsed` ms. True when the time has ended; the timer is then loaded anew.
    [[nodiscard]] bool ends_within(std::uint32_t elapsed)
    {
        elapsed_ += elapsed;
        if (elapsed < remaining_) {
            remaining_ -= elapsed;
            return false;
        }
        reload(elapsed);
        return true;
    }
    std::uint32_t remaining() const noexcept { return remaining_; }

protected:
    Base() = default;
    /// Prepares the next run, after a step of `elapsed` ms in which this one ended.
    virtual void reload(std::uint32_t elapsed) = 0;

    std::uint32_t remaining_ = period_ms; ///< ms
    std::uint32_t elapsed_ = 0;           ///< ms since the last load
};

/// Ends again and again. The overshoot of one period shortens the next, so that the average keeps to time.
template <std::uint32_t period_ms> class Cyclic final : public Base<period_ms> {
public:
    Cyclic() = default;

protected:
    void reload(std::uint32_t elapsed) override
    {
        const std::uint32_t over = elapsed - this->remaining_;
        this->elapsed_ = 0;
        this->remaining_ = over < period_ms ? period_ms - over : period_ms;
    }
};

} // namespace qv::timeout
