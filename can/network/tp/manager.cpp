#include "can/network/tp/manager.h"

#include <algorithm>
#include <utility>

#include "can/network/pdu/little_endian.h"
#include "can/network/tp/delivery.h"
#include "can/network/tp/rx_message.h"
#include "can/network/tp/ticks.h"
#include "comm/master.h"
#include "comm/time_message.h"

namespace qv::can_bus::tp::manager {

using comm::message::time_elapsed::Time_elapsed;

namespace {

constexpr std::uint32_t no_group = 0; ///< a data frame does not tell its group

/// Frames from strangers, to all, or of a wrong length are dropped without an answer. The other side of a session
/// is who holds the address, also when a master speaks for it.
bool is_for_session(const pdu::PDU& pdu)
{
    return pdu.source_node && pdu.address_holder && !pdu.global && pdu::has_size(pdu, 8);
}

std::uint32_t group_of(const pdu::PDU& pdu) { return read_little_endian(pdu.data.bytes(), 5, 3); }

/// The size in an RTS or EOMA.
std::uint32_t size_of(const pdu::PDU& pdu, bool extended)
{
    return read_little_endian(pdu.data.bytes(), 1, extended ? 4 : 2);
}

/// Whether an RTS announces what its protocol carries [ISO 11783-3 5.13].
bool is_valid_rts(const pdu::PDU& pdu, bool extended)
{
    const std::uint32_t size = size_of(pdu, extended);
    if (group_of(pdu) > pdu::pgn::maximum) {
        return false; // no group: such a number would stand among the ids of the system's messages
    }
    if (extended) {
        return size > standard_size_maximum && size <= extended_size_maximum;
    }
    return size >= standard_size_minimum && size <= standard_size_maximum && pdu.data[3] == packets_of(size);
}

} // namespace

Manager::Manager(Ecu_port& ecu)
    : Observer_dispatcher_id(ecu.pdu_dispatcher_id())
    , ecu_(ecu)
{}

template <class Visit> void Manager::for_each_subscription(Visit visit)
{
    visit(pdu::pgn::extended_transport_connection, &Manager::on_tp_cm_extended);
    visit(pdu::pgn::transport_connection, &Manager::on_tp_cm_standard);
    visit(pdu::pgn::extended_transport_data, &Manager::on_tp_dt_extended);
    visit(pdu::pgn::transport_data, &Manager::on_tp_dt_standard);
}

void Manager::subscribe()
{
    for_each_subscription([this](auto id, auto handler) { add(id, handler); });
    subscribe_ticks(shared_from_this(), static_cast<comm::observer::Handler>(&Manager::on_time_elapsed),
                    ecu_.dispatcher_id());
}

void Manager::unsubscribe()
{
    unsubscribe_ticks(weak_from_this().lock(), ecu_.dispatcher_id());
    for_each_subscription([this](auto id, auto) { remove(id); });
    receptions_.clear();
    sends_.clear();
}

bool Manager::send(std::shared_ptr<data_supplier::Data_supplier> context, std::uint32_t pgn,
                   std::unique_ptr<Byte_array> payload, std::uint32_t size,
                   const std::shared_ptr<node::Node>& peer)
{
    const std::uint32_t size_maximum = peer ? extended_size_maximum : standard_size_maximum;
    if (!payload || payload->empty() || (!context && payload->size() != size) || size < standard_size_minimum ||
        size > size_maximum || sends_.size() >= sends_maximum) {
        return false;
    }
    sends_.push_back(std::make_shared<tx::TP>(ecu_, std::move(context), pgn, std::move(payload), size, peer));
    return true;
}

void Manager::withdraw(const data_supplier::Data_supplier& context)
{
    const auto found =
        std::ranges::find_if(sends_, [&context](const auto& send) { return send->supplier().get() == &context; });
    if (found != sends_.end()) {
        const auto session = *found;
        sends_.erase(found);
        session->withdraw();
        ecu_.transferred(session);
    }
}

Transfer Manager::current_transfer() const
{
    if (sends_.empty()) {
        return {};
    }
    return {sends_.front()->size(), sends_.front()->packets_done() * packet_size};
}

void Manager::on_tp_cm_standard(comm::message::Message& message)
{
    const auto& pdu = dynamic_cast<const pdu::PDU&>(message);
    if (!is_for_session(pdu)) {
        return;
    }
    switch (pdu.data[0]) {
        case frame::control::request_to_send: return on_rts(pdu, false);
        case frame::control::clear_to_send: return on_cts(pdu, false);
        case frame::control::end_of_message: return on_eoma(pdu, false);
        case frame::control::abort: return on_abort(pdu, false);
        default: return;
    }
}

void Manager::on_tp_cm_extended(comm::message::Message& message)
{
    const auto& pdu = dynamic_cast<const pdu::PDU&>(message);
    if (!is_for_session(pdu)) {
        return;
    }
    switch (pdu.data[0]) {
        case frame::control::extended_request_to_send: return on_rts(pdu, true);
        case frame::control::extended_clear_to_send: return on_cts(pdu, true);
        case frame::control::extended_data_packet_offset: return on_dpo(pdu);
        case frame::control::extended_end_of_message: return on_eoma(pdu, true);
        case frame::control::abort: return on_abort(pdu, true);
        default: return;
    }
}

void Manager::on_tp_dt_standard(comm::message::Message& message)
{
    on_data(dynamic_cast<const pdu::PDU&>(message), false);
}

void Manager::on_tp_dt_extended(comm::message::Message& message)
{
    on_data(dynamic_cast<const pdu::PDU&>(message), true);
}

/// A repeated RTS changes nothing in the session under way.
void Manager::on_rts(const pdu::PDU& pdu, bool extended)
{
    auto session = find_reception(pdu, extended, no_group);
    if (!session) {
        session = open(pdu, extended);
    }
    if (!session) {
        ecu_.transmit(pdu.address_holder, frame::connection_pgn(extended),
                      frame::abort(frame::Abort_reason::refused, group_of(pdu)));
    } else if (session->large()) {
        give_free_turn();
    }
}

/// Empty when the announcement is invalid or cannot be served.
Manager::Reception Manager::open(const pdu::PDU& pdu, bool extended)
{
    const std::uint32_t size = size_of(pdu, extended);
    if (!is_valid_rts(pdu, extended) || !has_room_for(size)) {
        return nullptr;
    }
    const std::uint32_t packets_per_cts_maximum = extended ? 255U : pdu.data[4];
    auto session =
        std::make_shared<rx::specific::TP>(ecu_, pdu.address_holder, group_of(pdu), size, packets_per_cts_maximum);
    if (!session->data_ready()) {
        return nullptr;
    }
    receptions_.push_back(session);
    return session;
}

bool Manager::has_room_for(std::uint32_t size) const
{
    std::uint64_t announced = size;
    for (const auto& session : receptions_) {
        announced += session->size();
    }
    return receptions_.size() < receptions_maximum && announced <= announced_maximum;
}

/// The place of the next packet counts from 1. In 3 bytes it wraps to 0 for the last packet of the longest
/// message.
void Manager::on_cts(const pdu::PDU& pdu, bool extended)
{
    if (const auto session = find_send(pdu, extended)) {
        const std::uint32_t place_mask = extended ? 0xFFFFFF : 0xFF;
        const std::uint32_t place = read_little_endian(pdu.data.bytes(), 2, extended ? 3 : 1);
        session->on_cts((place - 1) & place_mask, pdu.data[1]);
    }
}

void Manager::on_dpo(const pdu::PDU& pdu)
{
    if (const auto session = find_reception(pdu, true, group_of(pdu))) {
        session->on_dpo(pdu.data[1], read_little_endian(pdu.data.bytes(), 2, 3));
        if (session->finished()) {
            rx_step(0);
        }
    }
}

void Manager::on_eoma(const pdu::PDU& pdu, bool extended)
{
    if (const auto session = find_send(pdu, extended)) {
        const std::uint32_t size = size_of(pdu, extended);
        session->on_eoma(size, extended ? packets_of(size) : pdu.data[3]);
        tx_step(0);
    }
}

/// A peer's abort ends a reception; a send begins again and uses up one try.
void Manager::on_abort(const pdu::PDU& pdu, bool extended)
{
    if (const auto reception = find_reception(pdu, extended, group_of(pdu))) {
        reception->close();
        rx_step(0);
    } else if (const auto session = find_send(pdu, extended)) {
        session->on_abort();
    }
}

void Manager::on_data(const pdu::PDU& pdu, bool extended)
{
    if (!is_for_session(pdu)) {
        return;
    }
    const auto session = find_reception(pdu, extended, no_group);
    if (!session) {
        return;
    }
    if (session->packet(pdu.data[0] - 1U, pdu.data.bytes().subspan(1))) {
        if (session->large()) {
            rotate(session.get());
        } else {
            session->send_cts();
        }
    }
    if (session->finished()) {
        rx_step(0);
    }
}

Manager::Reception Manager::find_reception(const pdu::PDU& pdu, bool extended, std::uint32_t pgn) const
{
    const auto found = std::ranges::find_if(receptions_, [&](const auto& session) {
        return session->matches(pdu.address_holder.get(), false, extended, pgn);
    });
    return found == receptions_.end() ? nullptr : *found;
}

std::shared_ptr<tx::TP> Manager::find_send(const pdu::PDU& pdu, bool extended) const
{
    const auto found = std::ranges::find_if(sends_, [&](const auto& session) {
        return session->matches(pdu.address_holder.get(), false, extended, group_of(pdu));
    });
    return found == sends_.end() ? nullptr : *found;
}

/// Gives the turn to the next large reception on hold, in a circle behind `current`, or behind the list's end
/// when that is null. `current` keeps its turn when no other waits.
void Manager::rotate(rx::specific::TP* current)
{
    const auto waits = [current](const auto& session) {
        return session.get() != current && session->large() && session->state() == State::Hold;
    };
    const auto place = std::ranges::find(receptions_, current, &Reception::get);
    auto next = std::find_if(place, receptions_.end(), waits);
    if (next == receptions_.end()) {
        next = std::find_if(receptions_.begin(), place, waits);
    }
    const bool found = next != receptions_.end() && waits(*next);
    if (current != nullptr && found) {
        current->send_hold();
    }
    if (found) {
        (*next)->send_cts();
    } else if (current != nullptr) {
        current->send_cts();
    }
}

/// One that ends on hold leaves the turn where it is.
void Manager::give_free_turn()
{
    if (std::ranges::none_of(receptions_, [](const auto& session) { return session->has_turn(); })) {
        rotate(nullptr);
    }
}

void Manager::on_time_elapsed(comm::message::Message& message)
{
    const std::uint32_t elapsed = dynamic_cast<const Time_elapsed&>(message).elapsed;
    rx_step(elapsed);
    tx_step(elapsed);
}

/// Handlers of a delivered message may add sessions and end others, from within: the list is walked by index.
void Manager::rx_step(std::uint32_t elapsed)
{
    for (std::size_t index = 0; index < receptions_.size();) {
        const Reception session = receptions_[index];
        session->on_time_elapsed(elapsed);
        if (session->finished()) {
            receptions_.erase(receptions_.begin() + static_cast<std::ptrdiff_t>(index));
            end(*session);
        } else {
            ++index;
        }
    }
}

/// Hands over what `session` received, and the turn if it had that.
void Manager::end(rx::specific::TP& session)
{
    if (session.success()) {
        comm::post_to(ecu_.dispatcher_id(),
                      std::make_unique<rx::message::TP_received>(session.peer(), session.pgn(), session.size()));
        deliver(session, ecu_.source_address(), ecu_.bus_dispatcher_id());
    }
    if (session.large()) {
        give_free_turn();
    }
}

/// Only the oldest send runs.
void Manager::tx_step(std::uint32_t elapsed)
{
    if (sends_.empty()) {
        return;
    }
    const auto session = sends_.front();
    session->on_time_elapsed(elapsed);
    if (session->finished()) {
        sends_.pop_front();
        ecu_.transferred(session);
    }
}

} // namespace qv::can_bus::tp::manager
