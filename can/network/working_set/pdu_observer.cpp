#include "can/network/working_set/pdu_observer.h"

#include <cstdint>

#include "can/network/node/node.h"
#include "can/network/node/working_set_handler.h"
#include "can/network/pdu/name.h"
#include "can/network/pdu/pdu.h"

namespace qv::can_bus::working_set {

namespace {

bool is_announcement(const pdu::PDU& pdu) { return pdu.source_node && pdu::has_size(pdu, 8); }

} // namespace

PDU_observer::PDU_observer(comm::dispatcher::Dispatcher_id pdu_dispatcher_id, const node::Table& nodes) noexcept
    : Observer_dispatcher_id(pdu_dispatcher_id)
    , nodes_(nodes)
{}

template <class Visit> void PDU_observer::for_each_subscription(Visit visit)
{
    visit(pdu::pgn::working_set_master, &PDU_observer::on_working_set_master);
    visit(pdu::pgn::working_set_member, &PDU_observer::on_working_set_member);
}

void PDU_observer::subscribe()
{
    for_each_subscription([this](std::uint32_t pgn, auto handler) { add(pgn, handler); });
}

void PDU_observer::unsubscribe()
{
    for_each_subscription([this](std::uint32_t pgn, auto) { remove(pgn); });
}

/// Byte 0 counts the members and the master.
void PDU_observer::on_working_set_master(comm::message::Message& message)
{
    const auto& pdu = dynamic_cast<const pdu::PDU&>(message);
    if (!is_announcement(pdu)) {
        return;
    }
    pdu.source_node->pdu_source = pdu.source_node;
    pdu.source_node->working_set_handler()->begin(pdu.data[0]);
}

/// The 8 bytes are the NAME of one member.
void PDU_observer::on_working_set_member(comm::message::Message& message)
{
    const auto& pdu = dynamic_cast<const pdu::PDU&>(message);
    if (is_announcement(pdu) && pdu.source_node->working_set_handler()->add(name::from_bytes(pdu.data.bytes()))) {
        assign_members(pdu.source_node);
    }
}

void PDU_observer::assign_members(const std::shared_ptr<node::Node>& master) const
{
    for (const auto& node : nodes_.nodes()) {
        if (node != master && !node->working_set_handler()->is_master() &&
            master->working_set_handler()->has_member(node->name())) {
            node->pdu_source = master;
        }
    }
}

} // namespace qv::can_bus::working_set
