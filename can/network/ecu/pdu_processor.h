#pragma once

#include <memory>
#include <string_view>

#include "comm/dispatcher.h"
#include "comm/observer.h"

namespace qv::can_bus::ecu {

class ECU;

/// Lets those PDUs of the bus through that are for one ECU: addressed to it, or to all. They appear by PGN on
/// a dispatcher of its own.
///
/// Thread: the bus thread. Lifetime: the ECU owns it.
class PDU_processor {
public:
    /// `name` is that of the dispatcher. Empty when the name is taken.
    static std::unique_ptr<PDU_processor> create(ECU& ecu, std::string_view name);
    ~PDU_processor();
    PDU_processor(const PDU_processor&) = delete;
    PDU_processor& operator=(const PDU_processor&) = delete;

    comm::dispatcher::Dispatcher_id dispatcher_id() const noexcept { return dispatcher_->id(); }

private:
    PDU_processor(ECU& ecu, std::shared_ptr<comm::dispatcher::Dispatcher> dispatcher);
    void on_pdu_message(comm::message::Message& message);

    ECU& ecu_;
    std::shared_ptr<comm::dispatcher::Dispatcher> dispatcher_; ///< never empty
    comm::observer::Observer_list observers_;
};

} // namespace qv::can_bus::ecu
