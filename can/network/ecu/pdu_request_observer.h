#pragma once

#include "can/network/pdu/pdu.h"
#include "comm/observer.h"

namespace qv::can_bus::ecu {

class ECU;

/// Answers the requests that every control function must answer [ISO 11783-3 5.4.2].
///
/// Thread: the bus thread, on the dispatcher of the ECU's request processor. Lifetime: the ECU owns it.
class PDU_request_observer final : public comm::observer::Observer_dispatcher_id {
public:
    explicit PDU_request_observer(ECU& ecu);

    void subscribe() override;
    void unsubscribe() override;

private:
    /// One list for both directions: `visit(PGN, handler)`.
    template <class Visit> static void for_each_subscription(Visit visit)
    {
        visit(pdu::pgn::address_claimed, &PDU_request_observer::on_address_claim);
    }

    void on_address_claim(comm::message::Message& message);

    ECU& ecu_;
};

} // namespace qv::can_bus::ecu
