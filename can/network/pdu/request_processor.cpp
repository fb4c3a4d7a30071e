#include "can/network/pdu/request_processor.h"

#include <utility>

#include "can/network/pdu/little_endian.h"
#include "can/network/pdu/pdu.h"
#include "comm/master.h"

namespace qv::can_bus {

bool source_address::Selector::accepts(std::uint32_t) const { return true; }

} // namespace qv::can_bus

namespace qv::can_bus::pdu::request_processor {

std::shared_ptr<Request_processor> Request_processor::create(comm::dispatcher::Dispatcher_id pdu_dispatcher_id,
                                                             std::string_view name,
                                                             std::shared_ptr<thread::signal::Signal> signal)
{
    auto requests = comm::create_dispatcher(name, std::move(signal));
    if (!requests) {
        return nullptr;
    }
    return std::shared_ptr<Request_processor>(new Request_processor(pdu_dispatcher_id, std::move(requests)));
}

Request_processor::Request_processor(comm::dispatcher::Dispatcher_id pdu_dispatcher_id,
                                     std::shared_ptr<comm::dispatcher::Dispatcher> requests)
    : Observer_dispatcher_id(pdu_dispatcher_id)
    , requests_(std::move(requests))
    , selector_(std::make_unique<source_address::Selector>())
{}

Request_processor::~Request_processor() { comm::remove_dispatcher(requests_); }

void Request_processor::subscribe() { add(pgn::request, &Request_processor::on_pgn_request); }

void Request_processor::unsubscribe() { remove(pgn::request); }

void Request_processor::set_selector(std::unique_ptr<source_address::Selector> selector)
{
    if (selector) {
        selector_ = std::move(selector);
    }
}

void Request_processor::on_pgn_request(comm::message::Message& message)
{
    const auto& request = dynamic_cast<const PDU&>(message);
    if (!has_size(request, 3) || !selector_->accepts(request.source_address)) {
        return;
    }
    const std::uint32_t requested = read_little_endian(request.data.bytes(), 0, 3);
    if (requested > pgn::maximum) {
        return; // no group: such a number would stand among the ids of the system's messages
    }
    PDU copy(request);
    copy.pgn = requested;
    requests_->notify(copy);
    requests_->forward(copy);
}

} // namespace qv::can_bus::pdu::request_processor
