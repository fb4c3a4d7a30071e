#include "service/pdu_request_observer.h"

#include "can/network/pdu/pdu.h"

namespace qv::can_bus::flr {

void PDU_request_observer::subscribe()
{
    add(pdu::pgn::component_identification, &PDU_request_observer::on_component_identification);
    add(pdu::pgn::ecu_identification, &PDU_request_observer::on_ecu_identification);
    add(pdu::pgn::software_identification, &PDU_request_observer::on_software_identification);
}

void PDU_request_observer::unsubscribe()
{
    remove(pdu::pgn::component_identification);
    remove(pdu::pgn::ecu_identification);
    remove(pdu::pgn::software_identification);
}

void PDU_request_observer::on_component_identification(comm::message::Message& /*message*/) {}

void PDU_request_observer::on_ecu_identification(comm::message::Message& /*message*/) {}

void PDU_request_observer::on_software_identification(comm::message::Message& /*message*/) {}

} // namespace qv::can_bus::flr
