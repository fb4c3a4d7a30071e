#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>

#include "bench/wire/record.h"

namespace bench {

/// A bus of a given speed: one frame at a time, each for as long as its bits take.
///
/// Each sender keeps the order of its own frames, as a controller's transmit queue does; among the frames that
/// head those queues when the bus falls idle, the lowest identifier goes first [ISO 11898-1 10.2].
///
/// Time is handed in, in nanoseconds of a monotonic clock. Thread: any one.
class Arbiter {
public:
    using Time = std::chrono::nanoseconds;
    using Sender = int;
    struct Delivery {
        Sender sender;
        Record record;
    };

    explicit Arbiter(std::uint32_t bits_per_second)
        : bits_per_second_(bits_per_second)
    {}

    void submit(Sender sender, const Record& record, Time now);
    /// Frames of this sender that wait or are on the bus.
    [[nodiscard]] std::size_t waiting(Sender sender) const;
    /// Forgets the frames of a sender that left, but for one that is on the bus.
    void remove(Sender sender);
    /// A frame whose last bit was sent by `now`; call it until it gives none.
    [[nodiscard]] std::optional<Delivery> next(Time now);
    /// When `next` has something again; nothing while the bus is idle.
    [[nodiscard]] std::optional<Time> due() const;

private:
    struct Waiting {
        Record record;
        Time since;
    };

    void start(Time idle_since);
    [[nodiscard]] Time duration(const Record& record) const noexcept;

    std::uint32_t bits_per_second_;
    std::map<Sender, std::deque<Waiting>> queues_; ///< none is empty
    std::optional<Delivery> on_bus_;
    Time ends_at_{0}; ///< when the frame on the bus ends, or the last one ended
};

} // namespace bench
