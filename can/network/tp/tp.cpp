#include "can/network/tp/tp.h"

#include <utility>

#include "can/network/pdu/pdu.h"

namespace qv::can_bus::tp {

TP::TP(std::shared_ptr<node::Node> peer, std::uint32_t pgn, std::uint32_t size, bool broadcast,
       std::uint32_t packets_per_cts_maximum)
    : packet_count_(packets_of(size))
    , packets_per_cts_maximum_(packets_per_cts_maximum)
    , size_(size)
    , peer_(std::move(peer))
    , pgn_(pgn)
    , broadcast_(broadcast)
    , extended_(size < standard_size_minimum || size > standard_size_maximum)
{}

bool TP::matches(const node::Node* peer, bool broadcast, bool extended, std::uint32_t pgn) const noexcept
{
    const bool any_group = pgn == 0 || pgn > pdu::pgn::maximum;
    return peer_.get() == peer && broadcast_ == broadcast && extended_ == extended && (any_group || pgn_ == pgn);
}

bool TP::timer_ends_within(std::uint32_t elapsed) noexcept
{
    if (timer_ == 0) {
        return false;
    }
    const bool ends = elapsed >= timer_;
    timer_ = ends ? 0 : timer_ - elapsed;
    return ends;
}

void TP::enter(State state, std::uint32_t timer) noexcept
{
    state_ = state;
    timer_ = timer;
}

void TP::finish(bool success) noexcept
{
    success_ = success;
    enter(State::Finished, 0);
}

} // namespace qv::can_bus::tp
