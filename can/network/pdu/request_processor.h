#pragma once

#include <memory>
#include <string_view>

#include "can/network/pdu/source_address_selector.h"
#include "comm/dispatcher.h"
#include "comm/observer.h"

namespace qv::can_bus::pdu::request_processor {

/// Turns a request (PGN 59904) into a PDU of the requested group on a dispatcher of its own, so that whoever
/// answers a group subscribes to its PGN there [ISO 11783-3 5.4.2]. A group that nobody subscribes to gets no
/// answer, and no negative acknowledgment either.
///
/// Thread: the bus thread. Its owner subscribes it after `create` and unsubscribes it before letting it go.
class Request_processor final : public comm::observer::Observer_dispatcher_id {
public:
    /// Listens on `pdu_dispatcher_id`; `name` and `signal`, which may be empty, are those of the request
    /// dispatcher. Empty when the name is taken.
    static std::shared_ptr<Request_processor> create(comm::dispatcher::Dispatcher_id pdu_dispatcher_id,
                                                     std::string_view name,
                                                     std::shared_ptr<thread::signal::Signal> signal = nullptr);
    ~Request_processor() override;

    void subscribe() override;
    void unsubscribe() override;

    /// Where the requests arrive by the requested PGN.
    comm::dispatcher::Dispatcher_id request_dispatcher_id() const noexcept { return requests_->id(); }
    /// Restricts whom this processor answers. An empty pointer is ignored.
    void set_selector(std::unique_ptr<source_address::Selector> selector);

private:
    Request_processor(comm::dispatcher::Dispatcher_id pdu_dispatcher_id,
                      std::shared_ptr<comm::dispatcher::Dispatcher> requests);
    void on_pgn_request(comm::message::Message& message);

    std::shared_ptr<comm::dispatcher::Dispatcher> requests_; ///< never empty
    std::unique_ptr<source_address::Selector> selector_;     ///< never empty
};

} // namespace qv::can_bus::pdu::request_processor
