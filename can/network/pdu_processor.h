#pragma once

#include <memory>

#include "can/network/pdu/pdu.h"
#include "comm/dispatcher.h"
#include "comm/observer.h"
#include "framework/log/hook.h"

namespace qv::can_bus::bus {

class Bus;

/// The gate through which each PDU of a bus enters the dispatcher on which observers subscribe by PGN. Holds
/// the observer through which frames become PDUs.
///
/// Thread: the bus thread. Lifetime: the bus owns it.
class PDU_processor {
public:
    /// A post to its dispatcher raises `signal`, which may be empty. Empty when the name of the dispatcher, the
    /// bus's title with " PDU" behind it, is taken.
    static std::unique_ptr<PDU_processor> create(Bus& bus, std::shared_ptr<thread::signal::Signal> signal);
    ~PDU_processor();
    PDU_processor(const PDU_processor&) = delete;
    PDU_processor& operator=(const PDU_processor&) = delete;

    /// Subscribes the frame entry and keeps it.
    void set_frame_entry(std::shared_ptr<comm::observer::Observer> frame_entry);
    const std::shared_ptr<comm::dispatcher::Dispatcher>& dispatcher() const noexcept { return dispatcher_; }

private:
    PDU_processor(Bus& bus, std::shared_ptr<comm::dispatcher::Dispatcher> dispatcher);
    void on_pdu_message(comm::message::Message& message);
    bool is_logged() const;
    void show(const pdu::PDU& pdu) const;

    std::shared_ptr<comm::dispatcher::Dispatcher> dispatcher_; ///< never empty
    bool annotate_;                                            ///< the log tells what the bytes mean
    bool log_enabled_;
    bool trace_;
    log::Client log_client_;
    comm::observer::Observer_list observers_;
};

} // namespace qv::can_bus::bus
