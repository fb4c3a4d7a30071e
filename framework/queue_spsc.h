#pragma once

#include <atomic>
#include <bit>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "framework/atomic_counter.h"
#include "framework/queue.h"

namespace qv {

/// A ring for one producer thread and one consumer thread, without a lock: neither ever waits for the other.
///
/// On a full ring `push` may drop the oldest element while `pop` is taking it. Elements are therefore not copied
/// in and out of the slots: a slot is one atomic word that names the cell which holds its element. Besides a cell
/// for each slot there are two more, one in the hands of each side. The producer fills its own cell and exchanges
/// it for the slot's; the consumer exchanges its own for the slot's, if the slot still holds the element that it
/// looked for. So a cell is only ever touched by the side that owns it, and each element leaves the ring once,
/// whole: by `pop`, or dropped and counted.
///
/// Thread: `push` the producer, `pop` the consumer, the rest any.
template <class T> class Queue_spsc final : public tool::queue::Interface<T> {
public:
    /// Empty when the ring cannot be allocated, or when `capacity` is not a power of two, which the counters need
    /// in order to wrap.
    static std::unique_ptr<Queue_spsc> create(std::uint32_t capacity)
    {
        if (!std::has_single_bit(capacity) || capacity > maximum_capacity) {
            return nullptr;
        }
        try {
            return std::unique_ptr<Queue_spsc>(new Queue_spsc(capacity));
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }

    bool push(const T& item, bool no_overwrite) override
    {
        const std::uint32_t position = tail_.value();
        std::atomic<Slot>& slot = slot_at(position);
        if (no_overwrite && slot.load(std::memory_order_acquire).state == State::full) {
            return false;
        }
        cells_[producer_cell_] = item;
        tail_.increment(); // before the element can be taken, so that `head` never overtakes
        const Slot former = slot.exchange({position, producer_cell_, State::full}, std::memory_order_acq_rel);
        producer_cell_ = former.cell;
        if (former.state == State::full) {
            head_.increment();
            overflow_count_.increment();
        }
        return true;
    }

    bool pop(T& item) override
    {
        for (;;) {
            std::atomic<Slot>& slot = slot_at(next_);
            Slot found = slot.load(std::memory_order_acquire);
            if (found.state == State::vacant) {
                return false;
            }
            if (found.position != next_) {
                next_ = found.position - capacity_ + 1; // dropped; what is left begins behind it
                continue;
            }
            if (slot.compare_exchange_strong(found, {next_, consumer_cell_, State::vacant},
                                             std::memory_order_acq_rel, std::memory_order_relaxed)) {
                consumer_cell_ = found.cell;
                break;
            }
        }
        ++next_;
        head_.increment();
        std::swap(item, cells_[consumer_cell_]);
        return true;
    }

    bool empty() const override { return head_.value() == tail_.value(); }
    bool full() const override
    {
        const auto head = head_.value(); // first: what is read later has gone on at least as far
        return tail_.value() - head >= capacity_;
    }
    std::uint32_t capacity() const noexcept { return capacity_; }
    /// Elements that were dropped.
    std::uint32_t overflow_count() const noexcept { return overflow_count_.value(); }

private:
    enum class State : std::uint16_t { vacant, full };

    /// Fits one machine word, without padding, as it is compared as a whole.
    struct alignas(8) Slot {
        std::uint32_t position; ///< of the element in the stream of all elements
        std::uint16_t cell;     ///< index of the cell that the slot owns
        State state;
    };
    static_assert(std::atomic<Slot>::is_always_lock_free && sizeof(Slot) == 8);

    static constexpr std::uint32_t maximum_capacity = 0x8000; // all cells must have an index of 16 bits

    explicit Queue_spsc(std::uint32_t capacity)
        : cells_(capacity + 2)
        , slots_(std::make_unique<std::atomic<Slot>[]>(capacity))
        , capacity_(capacity)
        , head_(0)
        , tail_(0)
        , overflow_count_(0)
        , producer_cell_(static_cast<std::uint16_t>(capacity))
        , consumer_cell_(static_cast<std::uint16_t>(capacity + 1))
    {
        for (std::uint32_t index = 0; index < capacity; ++index) {
            slots_[index].store({0, static_cast<std::uint16_t>(index), State::vacant}, std::memory_order_relaxed);
        }
    }

    std::atomic<Slot>& slot_at(std::uint32_t position) noexcept { return slots_[position & (capacity_ - 1)]; }

    std::vector<T> cells_;
    std::unique_ptr<std::atomic<Slot>[]> slots_;
    std::uint32_t capacity_;
    Atomic_counter head_; ///< elements that left the ring, by either way
    Atomic_counter tail_; ///< elements that came
    Atomic_counter overflow_count_;
    alignas(64) std::uint16_t producer_cell_; ///< the producer's own
    alignas(64) std::uint16_t consumer_cell_; ///< the consumer's own
    std::uint32_t next_ = 0;                  ///< the consumer's own: the position that it reads next
};

} // namespace qv
