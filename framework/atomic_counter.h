#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace qv {

/// A count that two threads share; it wraps and only grows. The value lies in a heap cell that fills a cache line
/// of its own, so that counters which stand side by side do not slow each other down.
///
/// Thread: any.
class Atomic_counter {
public:
    explicit Atomic_counter(std::uint32_t first)
        : cell_(std::make_unique<Cell>(first))
    {}
    Atomic_counter(const Atomic_counter&) = delete;
    Atomic_counter& operator=(const Atomic_counter&) = delete;
    virtual ~Atomic_counter() = default;

    void increment() noexcept { cell_->value.fetch_add(1, std::memory_order_acq_rel); }
    std::uint32_t value() const noexcept { return cell_->value.load(std::memory_order_acquire); }

private:
    struct alignas(64) Cell {
        explicit Cell(std::uint32_t first) noexcept
            : value(first)
        {}
        std::atomic<std::uint32_t> value;
    };

    std::unique_ptr<Cell> cell_;
};

} // namespace qv
