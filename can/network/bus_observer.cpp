#include "can/network/bus_observer.h"

#include <memory>

#include "can/network/bus.h"
#include "can/network/bus_message.h"
#include "comm/master.h"

namespace qv::can_bus::bus {

Observer::Observer(Bus& bus)
    : Observer_dispatcher_id(bus.dispatcher_id())
    , bus_(bus)
{}

void Observer::subscribe()
{
    add(message::ECU_create::id, &Observer::on_ecu_create);
    add(message::ECU_delete::id, &Observer::on_ecu_delete);
}

void Observer::unsubscribe()
{
    remove(message::ECU_create::id);
    remove(message::ECU_delete::id);
}

void Observer::on_ecu_create(comm::message::Message& message)
{
    const auto& request = dynamic_cast<const message::ECU_create&>(message);
    auto ecu = bus_.create_ecu(request.name, request.properties);
    comm::post_to(dispatcher_id(), std::make_unique<message::ECU_create_response>(request, std::move(ecu)));
}

void Observer::on_ecu_delete(comm::message::Message& message)
{
    const name::Name name = dynamic_cast<const message::ECU_delete&>(message).name;
    comm::post_to(dispatcher_id(), std::make_unique<message::ECU_delete_response>(name, bus_.remove_ecu(name)));
}

} // namespace qv::can_bus::bus
