#include "can/network/pdu_processor.h"

#include <cstdio>
#include <string>
#include <utility>

#include "can/network/annotation.h"
#include "can/network/bus.h"
#include "can/network/pdu/message_assigned_id.h"
#include "comm/broker.h"
#include "comm/master.h"
#include "framework/thread/clock.h"

namespace qv::can_bus::bus {

namespace {

constexpr log::Level pdu_log_level = 5;

} // namespace

std::unique_ptr<PDU_processor> PDU_processor::create(Bus& bus, std::shared_ptr<thread::signal::Signal> signal)
{
    auto dispatcher = comm::create_dispatcher(bus.properties().title + " PDU", std::move(signal));
    if (!dispatcher) {
        return nullptr;
    }
    std::unique_ptr<PDU_processor> processor(new PDU_processor(bus, std::move(dispatcher)));
    processor->observers_.add(comm::observer::make_broker<pdu::Message_assigned_id>(
        processor.get(), &PDU_processor::on_pdu_message, bus.dispatcher_id()));
    return processor;
}

PDU_processor::PDU_processor(Bus& bus, std::shared_ptr<comm::dispatcher::Dispatcher> dispatcher)
    : dispatcher_(std::move(dispatcher))
    , annotate_(bus.properties().pdu_log_annotate)
    , log_enabled_(bus.properties().pdu_log_enabled)
    , trace_(bus.properties().pdu_trace)
    , log_client_(bus.log_client())
{}

PDU_processor::~PDU_processor()
{
    observers_.clear();
    comm::remove_dispatcher(dispatcher_);
}

void PDU_processor::set_frame_entry(std::shared_ptr<comm::observer::Observer> frame_entry)
{
    observers_.add(std::move(frame_entry));
}

void PDU_processor::on_pdu_message(comm::message::Message& message)
{
    auto& pdu = *static_cast<pdu::Message_assigned_id&>(message).pdu; // the broker has tested the type
    if (trace_ || is_logged()) {
        show(pdu);
    }
    dispatcher_->notify(pdu);
    dispatcher_->forward(pdu);
}

/// Tested before a text is made.
bool PDU_processor::is_logged() const { return log_enabled_ && log::accepts(pdu_log_level); }

void PDU_processor::show(const pdu::PDU& pdu) const
{
    const std::string text = pdu::text(pdu);
    if (is_logged()) {
        const std::string annotation = annotate_ ? pdu::annotation(pdu) : std::string();
        log::write(pdu_log_level, log_client_, "%s  %s", text.c_str(), annotation.c_str());
    }
    if (trace_) {
        std::printf("pdu  %8u  %s\n", time::now_ms(), text.c_str());
    }
}

} // namespace qv::can_bus::bus
