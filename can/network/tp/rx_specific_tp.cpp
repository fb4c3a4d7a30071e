#include "can/network/tp/rx_specific_tp.h"

#include <algorithm>
#include <utility>

namespace qv::can_bus::tp::rx::specific {

namespace {
constexpr std::uint32_t cts_try_count_maximum = 5;
} // namespace

TP::TP(Ecu_port& ecu, std::shared_ptr<node::Node> peer, std::uint32_t pgn, std::uint32_t size,
       std::uint32_t packets_per_cts_maximum)
    : rx::TP(std::move(peer), pgn, size, false, packets_per_cts_maximum)
    , ecu_(ecu)
{
    if (large()) {
        enter(State::Hold, timeout::next_tick);
    }
}

void TP::on_time_elapsed(std::uint32_t elapsed)
{
    if (timer_ends_within(elapsed)) {
        on_timer();
    }
    if (state() == State::Start) {
        send_cts();
    }
}

void TP::on_timer()
{
    switch (state()) {
        case State::Hold: return send_hold();
        case State::Wait_dpo:
        case State::Receiving: return on_timeout();
        case State::Start:
        case State::Finished: // no timer runs
        case State::Wait_cts:
        case State::Sending: // states of a send
            return;
    }
}

/// T1 or T2: the window did not come, or not whole. It is asked for again.
void TP::on_timeout()
{
    if (cts_try_count_ >= cts_try_count_maximum) {
        return abort(frame::Abort_reason::timeout);
    }
    packets_done_ -= window_done_;
    send_cts();
}

void TP::send_hold()
{
    send(frame::clear_to_send(extended_, 0, packets_done_ + 1, pgn_));
    enter(State::Hold, timeout::repeat_hold);
}

void TP::send_cts()
{
    const std::uint32_t count = std::min(
        {packet_count_ - packets_done_, packets_per_cts_maximum_, ecu_.limits().rx_dt_message_count_cts_maximum});
    open_window(packets_done_, count);
    send(frame::clear_to_send(extended_, count, packets_done_ + 1, pgn_));
    enter(extended_ ? State::Wait_dpo : State::Receiving, timeout::response);
    ++cts_try_count_;
}

void TP::on_dpo(std::uint32_t count, std::uint32_t offset)
{
    if (state() != State::Wait_dpo || packets_done_ < offset) {
        return abort(frame::Abort_reason::bad_data);
    }
    if (offset != window_start_ || count != window_count_) { // the sender's window counts
        open_window(offset, std::min(packet_count_ - offset, count));
    }
    enter(State::Receiving, timeout::response);
}

bool TP::packet(std::uint32_t index, std::span<const std::uint8_t> bytes)
{
    const bool stored = store(extended_ ? index : index - window_start_, bytes);
    // A window whose packets number right but are not all there had one of them twice.
    const bool at_end = stored && window_done_ == window_count_;
    if (!stored || (at_end && !window_complete())) {
        abort(frame::Abort_reason::bad_data);
        return false;
    }
    const bool opens_next = at_end && end_window();
    post_transfer_update(ecu_.dispatcher_id());
    return opens_next;
}

/// Confirms the whole message, or answers true when more is to come.
bool TP::end_window()
{
    if (packets_done_ != packet_count_) {
        cts_try_count_ = 0;
        return true;
    }
    send(frame::end_of_message(extended_, size_, packet_count_, pgn_));
    finish(true);
    return false;
}

void TP::abort(frame::Abort_reason reason)
{
    send(frame::abort(reason, pgn_));
    close();
}

void TP::close()
{
    finish(false);
    window_done_ = 0;
    packets_done_ = 0;
    post_transfer_update(ecu_.dispatcher_id());
}

} // namespace qv::can_bus::tp::rx::specific
