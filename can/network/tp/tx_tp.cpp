#include "can/network/tp/tx_tp.h"

#include <algorithm>
#include <utility>

namespace qv::can_bus::tp::tx {

namespace {
constexpr std::uint32_t packets_per_cts = 255; ///< the RTS sets no limit to a window
constexpr std::uint32_t broadcast_try_count = 1;
constexpr std::uint32_t broadcast_burst = 1;
} // namespace

TP::TP(Ecu_port& ecu, std::shared_ptr<data_supplier::Data_supplier> supplier, std::uint32_t pgn,
       std::unique_ptr<Byte_array> payload, std::uint32_t size, const std::shared_ptr<node::Node>& peer)
    : tp::TP(peer, pgn, size, !peer, packets_per_cts)
    , payload_(std::move(payload))
    , supplier_(std::move(supplier))
    , ecu_(ecu)
{}

void TP::on_time_elapsed(std::uint32_t elapsed)
{
    if (timer_ends_within(elapsed)) {
        on_timer();
    }
    if (state() == State::Start) {
        start();
    }
}

void TP::on_timer()
{
    switch (state()) {
        case State::Sending: return broadcast_ ? bam_step() : burst_step();
        case State::Wait_cts: // T3 or T4: no CTS or EOMA came
            send(frame::abort(frame::Abort_reason::timeout, pgn_));
            return enter(State::Start, 0);
        case State::Start:
        case State::Finished: // no timer runs
        case State::Hold:
        case State::Wait_dpo:
        case State::Receiving: // states of a reception
            return;
    }
}

/// Begins the next attempt from the first packet.
void TP::start()
{
    if (try_count_ >= (broadcast_ ? broadcast_try_count : ecu_.limits().tx_try_count_maximum)) {
        return finish(false);
    }
    ++try_count_;
    window_done_ = 0;
    packets_done_ = 0;
    if (broadcast_) {
        send(frame::broadcast_announce(size_, packet_count_, pgn_));
        window_start_ = 0;
        window_count_ = packet_count_;
        enter(State::Sending, timeout::broadcast_gap);
    } else {
        send(frame::request_to_send(extended_, size_, packet_count_, pgn_));
        enter(State::Wait_cts, timeout::response);
    }
}

void TP::on_cts(std::uint32_t next, std::uint32_t count)
{
    if (state() != State::Wait_cts) {
        return;
    }
    if (count == 0) {
        return enter(State::Wait_cts, timeout::held);
    }
    if (next >= packet_count_) {
        return; // asks for what the message does not have; T3 goes on
    }
    window_done_ = 0;
    packets_done_ = next;
    window_start_ = next;
    window_count_ = std::min(count, packet_count_ - next);
    if (extended_) {
        send(frame::data_packet_offset(window_count_, next, pgn_));
    }
    enter(State::Sending, timeout::next_tick);
    on_time_elapsed(timeout::next_tick); // the first burst leaves at once
}

void TP::on_eoma(std::uint32_t size, std::uint32_t packets)
{
    if (state() != State::Wait_cts) {
        return;
    }
    if (size != size_ || packets != packet_count_) {
        enter(State::Start, 0);
    } else if (last_was_sent_) {
        finish(true);
    }
}

void TP::withdraw()
{
    if (!broadcast_ && try_count_ > 0 && packets_done_ < packet_count_) {
        send(frame::abort(frame::Abort_reason::timeout, pgn_));
    }
    finish(false);
}

void TP::on_abort() noexcept { enter(State::Start, 0); }

void TP::burst_step()
{
    if (!burst()) {
        send(frame::abort(frame::Abort_reason::bad_data, pgn_));
        enter(State::Start, 0);
    } else if (window_complete()) {
        enter(State::Wait_cts, timeout::response);
    } else {
        enter(State::Sending, timeout::next_tick);
    }
}

void TP::bam_step()
{
    if (!burst()) {
        enter(State::Start, 0);
    } else if (window_complete()) {
        finish(true);
    } else {
        enter(State::Sending, timeout::broadcast_gap);
    }
}

/// Sends packets of the window up to the limit of one tick.
bool TP::burst()
{
    if (!payload_ || window_count_ == 0) {
        return false;
    }
    const std::uint32_t limit =
        broadcast_ ? broadcast_burst : ecu_.limits().tx_dt_message_count_time_cycle_maximum;
    for (std::uint32_t sent = 1;; ++sent) {
        if (!send_packet()) {
            return false;
        }
        if (sent >= limit || packets_done_ >= packet_count_ || window_complete()) {
            return true;
        }
    }
}

/// Sequence numbers of TP count from the start of the message, those of ETP from the offset of the DPO.
bool TP::send_packet()
{
    frame::Frame bytes;
    bytes.fill(0xFF);
    bytes[0] = static_cast<std::uint8_t>(window_done_ + 1 + (extended_ ? 0 : window_start_));
    const std::uint32_t offset = packets_done_ * packet_size;
    const auto data = std::span(bytes).subspan(1, std::min(packet_size, size_ - offset));
    if (supplier_) {
        if (!supplier_->read(data, *payload_, offset)) {
            return false;
        }
    } else {
        std::ranges::copy(payload_->bytes().subspan(offset, data.size()), data.begin());
    }
    ecu_.transmit(peer_, frame::data_pgn(extended_), bytes);
    ++window_done_;
    ++packets_done_;
    last_was_sent_ = last_was_sent_ || packets_done_ == packet_count_;
    return true;
}

} // namespace qv::can_bus::tp::tx
