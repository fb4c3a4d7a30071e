#include "can/network/ecu/pdu_observer.h"

#include "can/network/ecu/address_claim.h"
#include "can/network/ecu/ecu.h"
#include "can/network/ecu/ecu_message.h"
#include "can/network/node/manager.h"
#include "can/network/pdu/little_endian.h"
#include "can/network/pdu/pdu.h"

namespace qv::can_bus::ecu {

namespace {

/// Functions up to this one mean the same in all industry groups and device classes [ISO 11783-5 4.3.3].
constexpr std::uint32_t common_function_maximum = 127;

bool is_same_function(name::Name left, name::Name right)
{
    if (name::function(left) != name::function(right) ||
        name::function_instance(left) != name::function_instance(right)) {
        return false;
    }
    return name::function(left) <= common_function_maximum ||
           (name::industry_group(left) == name::industry_group(right) &&
            name::device_class(left) == name::device_class(right));
}

} // namespace

PDU_observer::PDU_observer(ECU& ecu)
    : Observer_dispatcher_id(ecu.pdu_dispatcher_id())
    , ecu_(ecu)
{}

void PDU_observer::subscribe()
{
    add(pdu::pgn::acknowledgment, &PDU_observer::on_acknowledgment);
    add(pdu::pgn::address_claimed, &PDU_observer::on_address_claim);
}

void PDU_observer::unsubscribe()
{
    remove(pdu::pgn::acknowledgment);
    remove(pdu::pgn::address_claimed);
}

/// ISO 11783-3 5.4.5.
void PDU_observer::on_acknowledgment(comm::message::Message& message)
{
    const auto& pdu = dynamic_cast<const pdu::PDU&>(message);
    if (!pdu::has_size(pdu, 8)) {
        return;
    }
    message::Acknowledgment::Content content;
    content.control = pdu.data[0];
    content.group_function = pdu.data[1];
    content.address = pdu.data[4];
    content.pgn = read_little_endian(pdu.data.bytes(), 5, 3);
    if (pdu.source_node && pdu.source_node->manager()) {
        pdu.source_node->manager()->process_acknowledgment(content.pgn, content.control == 0);
    }
    ecu_.report<message::Acknowledgment>(content, pdu.source_node);
}

/// ISO 11783-5 4.5.3. The claim itself tells the claimant: `source_node` is its master when it is a member of a
/// working set, and there is none for a NAME that the node table has no room for. One that is not for all moves
/// nobody.
void PDU_observer::on_address_claim(comm::message::Message& message)
{
    const auto& pdu = dynamic_cast<const pdu::PDU&>(message);
    if (!pdu::has_size(pdu, 8) || !pdu.global) {
        return;
    }
    if (const auto claimant = name::from_bytes(pdu.data.bytes()); claimant != ecu_.name()) {
        contend(pdu.source_address, claimant);
        compare_functions(claimant);
    }
}

/// The lower NAME keeps an address that both want. The answer is due also when the claimant has gone on to another
/// address by now: its claim was heard by all, and they have forgotten whose the address was.
void PDU_observer::contend(std::uint32_t address, name::Name claimant)
{
    if (address != ecu_.source_address() || address == pdu::null_address || address == pdu::global_address) {
        return;
    }
    if (ecu_.name() < claimant) {
        ecu_.send_address_claim();
    } else {
        ecu_.handler().lose_contention();
    }
}

void PDU_observer::compare_functions(name::Name claimant)
{
    if (is_same_function(ecu_.name(), claimant)) {
        ecu_.report<message::Function_instance_conflict>(ecu_.handler().is_on_bus());
    }
}

} // namespace qv::can_bus::ecu
