#include "can/network/tp/rx_bam_manager.h"

#include <algorithm>
#include <utility>

#include "can/network/pdu/little_endian.h"
#include "can/network/tp/delivery.h"
#include "can/network/tp/frame.h"
#include "can/network/tp/rx_message.h"
#include "can/network/tp/ticks.h"
#include "comm/master.h"
#include "comm/time_message.h"

namespace qv::can_bus::tp::rx::bam {

TP::TP(std::shared_ptr<node::Node> peer, std::uint32_t pgn, std::uint32_t size,
       comm::dispatcher::Dispatcher_id bus_dispatcher_id)
    : rx::TP(std::move(peer), pgn, size, true, 255)
    , bus_dispatcher_id_(bus_dispatcher_id)
{
    open_window(0, packet_count_);
    enter(State::Receiving, timeout::between_packets);
}

/// Only `Receiving` has a timer here: T1.
void TP::on_time_elapsed(std::uint32_t elapsed)
{
    if (timer_ends_within(elapsed)) {
        finish(false);
    }
}

void TP::packet(std::uint32_t index, std::span<const std::uint8_t> bytes)
{
    if (!store(index, bytes)) {
        return;
    }
    post_transfer_update(bus_dispatcher_id_);
    if (window_complete()) {
        finish(true);
    }
}

} // namespace qv::can_bus::tp::rx::bam

namespace qv::can_bus::tp::rx::bam::manager {

using comm::message::time_elapsed::Time_elapsed;

namespace {

bool is_broadcast(const pdu::PDU& pdu)
{
    return pdu.source_node && pdu.address_holder && pdu.global && pdu::has_size(pdu, 8);
}

} // namespace

Manager::Manager(comm::dispatcher::Dispatcher_id pdu_dispatcher_id,
                 comm::dispatcher::Dispatcher_id bus_dispatcher_id)
    : Observer_dispatcher_id(pdu_dispatcher_id)
    , bus_dispatcher_id_(bus_dispatcher_id)
{}

void Manager::subscribe()
{
    add(pdu::pgn::transport_connection, &Manager::on_tp_cm_standard);
    add(pdu::pgn::transport_data, &Manager::on_tp_dt_standard);
    subscribe_ticks(shared_from_this(), static_cast<comm::observer::Handler>(&Manager::on_time_elapsed),
                    bus_dispatcher_id_);
}

void Manager::unsubscribe()
{
    unsubscribe_ticks(weak_from_this().lock(), bus_dispatcher_id_);
    remove(pdu::pgn::transport_connection);
    remove(pdu::pgn::transport_data);
    sessions_.clear();
}

void Manager::on_tp_cm_standard(comm::message::Message& message)
{
    const auto& pdu = dynamic_cast<const pdu::PDU&>(message);
    if (!is_broadcast(pdu) || pdu.data[0] != frame::control::broadcast_announce) {
        return;
    }
    const std::uint32_t size = read_little_endian(pdu.data.bytes(), 1, 2);
    const std::uint32_t group = read_little_endian(pdu.data.bytes(), 5, 3);
    if (size < standard_size_minimum || size > standard_size_maximum || pdu.data[3] != packets_of(size) ||
        group > pdu::pgn::maximum || !has_room_for(pdu.address_holder.get())) {
        return;
    }
    auto session = std::make_shared<TP>(pdu.address_holder, group, size, bus_dispatcher_id_);
    if (session->data_ready()) {
        sessions_.push_back(std::move(session));
    }
}

bool Manager::has_room_for(const node::Node* sender) const
{
    const auto of_sender = std::ranges::count_if(
        sessions_, [sender](const auto& session) { return session->peer().get() == sender; });
    return sessions_.size() < sessions_maximum &&
           static_cast<std::size_t>(of_sender) < sessions_per_sender_maximum;
}

void Manager::on_tp_dt_standard(comm::message::Message& message)
{
    const auto& pdu = dynamic_cast<const pdu::PDU&>(message);
    if (!is_broadcast(pdu)) {
        return;
    }
    const auto found = std::ranges::find(sessions_, pdu.address_holder, &TP::peer);
    if (found == sessions_.end()) {
        return;
    }
    const auto session = *found;
    session->packet(pdu.data[0] - 1U, pdu.data.bytes().subspan(1));
    if (session->finished()) {
        step(0);
    }
}

void Manager::on_time_elapsed(comm::message::Message& message)
{
    step(dynamic_cast<const Time_elapsed&>(message).elapsed);
}

/// Handlers of a delivered message may end other sessions, from within: the list is walked by index.
void Manager::step(std::uint32_t elapsed)
{
    for (std::size_t index = 0; index < sessions_.size();) {
        const auto session = sessions_[index];
        session->on_time_elapsed(elapsed);
        if (!session->finished()) {
            ++index;
            continue;
        }
        sessions_.erase(sessions_.begin() + static_cast<std::ptrdiff_t>(index));
        if (session->success()) {
            comm::post_to(bus_dispatcher_id_, std::make_unique<message::TP_received>(
                                                  session->peer(), session->pgn(), session->size()));
            deliver(*session, pdu::global_address, bus_dispatcher_id_);
        }
    }
}

} // namespace qv::can_bus::tp::rx::bam::manager
