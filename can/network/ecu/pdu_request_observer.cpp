#include "can/network/ecu/pdu_request_observer.h"

#include "can/network/ecu/ecu.h"

namespace qv::can_bus::ecu {

PDU_request_observer::PDU_request_observer(ECU& ecu)
    : Observer_dispatcher_id(ecu.request_dispatcher_id())
    , ecu_(ecu)
{}

void PDU_request_observer::subscribe()
{
    for_each_subscription([this](std::uint32_t pgn, auto handler) { add(pgn, handler); });
}

void PDU_request_observer::unsubscribe()
{
    for_each_subscription([this](std::uint32_t pgn, auto) { remove(pgn); });
}

/// Goes to all, whoever asked [ISO 11783-5 4.5.3].
void PDU_request_observer::on_address_claim(comm::message::Message&) { ecu_.send_address_claim(); }

} // namespace qv::can_bus::ecu
