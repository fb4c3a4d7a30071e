#include "can/network/ecu/pdu_processor.h"

#include <utility>

#include "can/network/ecu/ecu.h"
#include "can/network/pdu/message_assigned_id.h"
#include "comm/broker.h"
#include "comm/master.h"

namespace qv::can_bus::ecu {

std::unique_ptr<PDU_processor> PDU_processor::create(ECU& ecu, std::string_view name)
{
    auto dispatcher = comm::create_dispatcher(name, false);
    if (!dispatcher) {
        return nullptr;
    }
    std::unique_ptr<PDU_processor> processor(new PDU_processor(ecu, std::move(dispatcher)));
    processor->observers_.add(comm::observer::make_broker<pdu::Message_assigned_id>(
        processor.get(), &PDU_processor::on_pdu_message, ecu.bus_dispatcher_id()));
    return processor;
}

PDU_processor::PDU_processor(ECU& ecu, std::shared_ptr<comm::dispatcher::Dispatcher> dispatcher)
    : ecu_(ecu)
    , dispatcher_(std::move(dispatcher))
{}

PDU_processor::~PDU_processor()
{
    observers_.clear();
    comm::remove_dispatcher(dispatcher_);
}

void PDU_processor::on_pdu_message(comm::message::Message& message)
{
    auto& pdu = *static_cast<pdu::Message_assigned_id&>(message).pdu; // the broker has tested the type
    if (pdu.global || pdu.destination_address == ecu_.source_address()) {
        const auto dispatcher = dispatcher_; // a handler may close the ECU, and this processor goes with it
        dispatcher->notify(pdu);
        dispatcher->forward(pdu);
    }
}

} // namespace qv::can_bus::ecu
