#pragma once

#include <cstdint>

#include "comm/observer.h"

namespace qv::can_bus::ecu {

class ECU;

/// Does for the application what it asks of the ECU by message, and sends the debug PDU.
///
/// Thread: the bus thread, on the ECU's dispatcher. Lifetime: the ECU owns it.
class Observer final : public comm::observer::Observer_dispatcher_id {
public:
    explicit Observer(ECU& ecu);

    void subscribe() override;
    void unsubscribe() override;

private:
    template <class Visit> static void for_each_subscription(Visit visit);

    void on_address_start_claim(comm::message::Message& message);
    void on_pdu_transmit(comm::message::Message& message);
    void on_software_identification_response(comm::message::Message& message);
    void on_time_elapsed(comm::message::Message& message);
    void on_tp_tx_current_state_request(comm::message::Message& message);
    void send_debug_pdu();

    ECU& ecu_;
    std::uint32_t debug_elapsed_ = 0; ///< milliseconds since the last debug PDU was due
    std::uint8_t debug_count_ = 0;    ///< debug PDUs that have left; begins again at 0 after 255
};

} // namespace qv::can_bus::ecu
