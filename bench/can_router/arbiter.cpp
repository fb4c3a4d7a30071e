#include "bench/can_router/arbiter.h"

#include <algorithm>

#include "bench/can_router/frame_length.h"

namespace bench {

namespace {

/// The arbitration field as one number: base identifier, the bit by which a standard frame wins over an
/// extended one, the extension, the remote request.
std::uint64_t rank(const Record& record) noexcept
{
    const std::uint64_t remote = record.remote ? 1 : 0;
    if (!record.extended) {
        return std::uint64_t{record.identifier & 0x7FF} << 21 | remote << 20;
    }
    return std::uint64_t{record.identifier >> 18 & 0x7FF} << 21 | 3ULL << 19 |
           std::uint64_t{record.identifier & 0x3FFFF} << 1 | remote;
}

} // namespace

void Arbiter::submit(Sender sender, const Record& record, Time now)
{
    queues_[sender].push_back({record, now});
    if (!on_bus_) {
        start(std::max(ends_at_, now));
    }
}

std::size_t Arbiter::waiting(Sender sender) const
{
    const auto queue = queues_.find(sender);
    const bool sends = on_bus_ && on_bus_->sender == sender;
    return (queue == queues_.end() ? 0 : queue->second.size()) + (sends ? 1 : 0);
}

void Arbiter::remove(Sender sender) { queues_.erase(sender); }

std::optional<Arbiter::Delivery> Arbiter::next(Time now)
{
    if (!on_bus_ || ends_at_ > now) {
        return std::nullopt;
    }
    auto finished = on_bus_;
    on_bus_.reset();
    start(ends_at_);
    return finished;
}

std::optional<Arbiter::Time> Arbiter::due() const { return on_bus_ ? std::optional(ends_at_) : std::nullopt; }

/// The contest at the moment at which the bus is idle and a frame waits. Frames that came later take no part,
/// even when the clock is already past them.
void Arbiter::start(Time idle_since)
{
    auto begin = Time::max();
    for (const auto& [sender, queue] : queues_) {
        begin = std::min(begin, queue.front().since);
    }
    begin = std::max(begin, idle_since);
    auto winner = queues_.end();
    for (auto queue = queues_.begin(); queue != queues_.end(); ++queue) {
        const auto& head = queue->second.front();
        if (head.since <= begin &&
            (winner == queues_.end() || rank(head.record) < rank(winner->second.front().record))) {
            winner = queue;
        }
    }
    if (winner == queues_.end()) {
        return;
    }
    on_bus_ = Delivery{winner->first, winner->second.front().record};
    ends_at_ = begin + duration(on_bus_->record);
    winner->second.pop_front();
    if (winner->second.empty()) {
        queues_.erase(winner);
    }
}

Arbiter::Time Arbiter::duration(const Record& record) const noexcept
{
    return Time(std::uint64_t{frame_length(record)} * 1'000'000'000ULL / bits_per_second_);
}

} // namespace bench
