#include "service/bus_observer.h"

#include "can/network/bus_message.h"
#include "can/network/ecu/ecu_message.h"
#include "can/network/node/node_message.h"
#include "comm/master.h"
#include "comm/time_message.h"
#include "service/flintrow.h"

namespace qv::can_bus::flr {

using comm::message::time_elapsed::Seconds_1;

Bus_observer::Bus_observer(Flintrow& flintrow) noexcept
    : Observer_dispatcher_id(flintrow.dispatcher_id)
    , flintrow_(flintrow)
{}

void Bus_observer::subscribe()
{
    add(bus::message::ECU_create_response::id, &Bus_observer::on_ecu_create_response);
    add(bus::message::ECU_delete_response::id, &Bus_observer::on_ecu_delete_response);
    add(node::message::Created::id, &Bus_observer::on_node_create);
    add(message::Request_address_claims::id, &Bus_observer::on_request_address_claims);
    add_routed(Seconds_1::id, &Bus_observer::on_time_elapsed);
}

void Bus_observer::unsubscribe()
{
    remove(bus::message::ECU_create_response::id);
    remove(bus::message::ECU_delete_response::id);
    remove(node::message::Created::id);
    remove(message::Request_address_claims::id);
    remove_routed(Seconds_1::id);
}

void Bus_observer::on_ecu_create_response(comm::message::Message& message)
{
    const auto& response = dynamic_cast<bus::message::ECU_create_response&>(message);
    if (response.name != flintrow_.settings.name || response.ecu == nullptr) {
        return;
    }
    flintrow_.attach_ecu(response.ecu);
    comm::post_to(response.ecu->dispatcher_id(), std::make_unique<ecu::message::address::Start_claim>(
                                                     flintrow_.settings.source_address_preferred));
}

void Bus_observer::on_ecu_delete_response(comm::message::Message& message)
{
    if (dynamic_cast<bus::message::ECU_delete_response&>(message).name == flintrow_.settings.name) {
        flintrow_.detach_ecu();
    }
}

void Bus_observer::on_node_create(comm::message::Message& /*message*/) {}

void Bus_observer::on_request_address_claims(comm::message::Message& /*message*/)
{
    flintrow_.own_ecu.request_address_claims();
}

void Bus_observer::on_time_elapsed(comm::message::Message& /*message*/) { flintrow_.session.on_second(); }

} // namespace qv::can_bus::flr
