#pragma once

#include "can/network/pdu/name.h"
#include "comm/observer.h"

namespace qv::can_bus::ecu {

class ECU;

/// Handles what the ECU itself must hear of its PDUs: acknowledgments, and the address claims of others.
///
/// Thread: the bus thread, on the dispatcher of the ECU's PDU processor. Lifetime: the ECU owns it.
class PDU_observer final : public comm::observer::Observer_dispatcher_id {
public:
    explicit PDU_observer(ECU& ecu);

    void subscribe() override;
    void unsubscribe() override;

private:
    void on_acknowledgment(comm::message::Message& message);
    void on_address_claim(comm::message::Message& message);
    void contend(std::uint32_t address, name::Name claimant);
    void compare_functions(name::Name claimant);

    ECU& ecu_;
};

} // namespace qv::can_bus::ecu
