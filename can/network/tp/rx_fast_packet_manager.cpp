#include "can/network/tp/rx_fast_packet_manager.h"

#include <algorithm>
#include <utility>

#include "can/network/node/node.h"
#include "can/network/pdu/message_assigned_id.h"
#include "comm/master.h"
#include "comm/time_message.h"

namespace qv::can_bus::tp::rx::fast_packet {

using comm::message::time_elapsed::Time_elapsed;

namespace {

constexpr std::uint32_t first_frame_bytes = 6;
constexpr std::uint32_t later_frame_bytes = 7;
constexpr std::uint32_t age_maximum = 151; ///< milliseconds since the last frame

/// Appends up to `count` bytes of the frame, from `first` on, to the message.
void append(TP& session, const pdu::PDU& pdu, std::uint32_t first, std::uint32_t count)
{
    const std::uint32_t length = std::min(count, session.data.size() - session.received);
    std::copy_n(pdu.data.data() + first, length, session.data.begin() + session.received);
    session.received += length;
    session.timer = 0;
}

} // namespace

Manager::Manager(comm::dispatcher::Dispatcher_id bus_dispatcher_id) noexcept
    : Observer_dispatcher_id(bus_dispatcher_id)
{}

void Manager::subscribe() { add_routed(Time_elapsed::id, &Manager::on_time_elapsed); }

void Manager::unsubscribe()
{
    remove_routed(Time_elapsed::id);
    sessions_.clear();
}

void Manager::on_frame(const pdu::PDU& pdu)
{
    if (!pdu.source_node || !pdu.address_holder || !pdu::has_size(pdu, 8)) {
        return;
    }
    const std::uint32_t sequence = pdu.data[0] >> 5;
    const std::uint32_t index = pdu.data[0] & 0x1F;
    auto session = find(pdu, sequence);
    if (!session && index == 0) {
        session = open(pdu, sequence);
    }
    if (!session) {
        return;
    }
    if (index == 0 && session->received == 0) {
        append(*session, pdu, 2, first_frame_bytes);
    } else if (index != 0 && session->received == later_frame_bytes * index - 1) {
        append(*session, pdu, 1, later_frame_bytes);
    }
}

std::shared_ptr<TP> Manager::find(const pdu::PDU& pdu, std::uint32_t sequence) const
{
    const auto found = std::ranges::find_if(sessions_, [&](const auto& session) {
        return session->peer == pdu.address_holder && session->pgn == pdu.pgn && session->sequence == sequence;
    });
    return found == sessions_.end() ? nullptr : *found;
}

/// Empty when there are too many, or no memory.
std::shared_ptr<TP> Manager::open(const pdu::PDU& pdu, std::uint32_t sequence)
{
    auto session = std::make_shared<TP>();
    if (sessions_.size() >= sessions_maximum || !session->data.resize(pdu.data[1])) {
        return nullptr;
    }
    session->peer = pdu.address_holder;
    session->pgn = pdu.pgn;
    session->sequence = sequence;
    sessions_.push_back(session);
    return session;
}

void Manager::on_time_elapsed(comm::message::Message& message)
{
    const std::uint32_t elapsed = dynamic_cast<const Time_elapsed&>(message).elapsed;
    std::erase_if(sessions_, [&](const auto& session) {
        if (session->timer <= age_maximum) {
            session->timer += std::min(elapsed, age_maximum + 1);
        }
        const bool complete = session->received == session->data.size();
        const bool late = session->timer > age_maximum;
        if (complete && !late) {
            hand_over(*session);
        }
        return complete || late;
    });
}

/// Goes through the bus's queue, and so comes back by its group as a message that is no frame.
void Manager::hand_over(TP& session) const
{
    auto message = std::make_unique<pdu::PDU>();
    message->length = session.data.size();
    message->data = std::move(session.data);
    message->source_node = session.peer->pdu_source.lock();
    message->address_holder = session.peer;
    message->pgn = session.pgn;
    message->source_address = session.peer->source_address;
    message->pdu1 = pdu::is_pdu1(session.pgn);
    message->destination_address = message->pdu1 ? pdu::global_address : pdu::null_address;
    comm::post_to(dispatcher_id(), std::make_unique<pdu::Message_assigned_id>(std::move(message)));
}

} // namespace qv::can_bus::tp::rx::fast_packet
