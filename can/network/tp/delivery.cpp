#include "can/network/tp/delivery.h"

#include <utility>

#include "can/network/pdu/message_assigned_id.h"
#include "comm/master.h"

namespace qv::can_bus::tp {

void deliver(rx::TP& session, std::uint32_t destination, comm::dispatcher::Dispatcher_id bus_dispatcher_id)
{
    const auto dispatcher = comm::find_dispatcher(bus_dispatcher_id);
    if (!dispatcher) {
        return;
    }
    auto message = std::make_unique<pdu::PDU>();
    message->data = session.take_data();
    message->length = session.size();
    message->source_node = session.peer()->pdu_source.lock(); // as with a single frame
    message->address_holder = session.peer();
    message->pgn = session.pgn();
    message->source_address = session.peer()->source_address;
    message->pdu1 = pdu::is_pdu1(session.pgn());
    message->destination_address = message->pdu1 ? destination : pdu::null_address;
    message->global = !message->pdu1 || destination == pdu::global_address;
    pdu::Message_assigned_id envelope(std::move(message));
    dispatcher->notify(envelope);
    dispatcher->forward(envelope); // to the routes that there are; none takes a message that has no copy
}

} // namespace qv::can_bus::tp
