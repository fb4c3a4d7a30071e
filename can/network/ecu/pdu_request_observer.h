#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "comm/observer.h"

namespace qv::can_bus::ecu {

class ECU;

/// Answers the requests that every control function must answer [ISO 11783-3 5.4.2], out of the properties of
/// its ECU, its NAME, its functionalities and its trouble codes.
///
/// An answer goes to the node that asked this ECU, and to all when all were asked or the sender is not known.
/// While the ECU holds no address it stays silent.
///
/// Thread: the bus thread, on the dispatcher of the ECU's request processor. Lifetime: the ECU owns it.
class PDU_request_observer final : public comm::observer::Observer_dispatcher_id {
public:
    explicit PDU_request_observer(ECU& ecu);

    void subscribe() override;
    void unsubscribe() override;

private:
    template <class Visit> static void for_each_subscription(Visit visit);

    void on_address_claim(comm::message::Message& message);
    void on_control_function_functionalities(comm::message::Message& message);
    void on_component_identification(comm::message::Message& message);
    void on_diagnostic_protocol(comm::message::Message& message);
    void on_diagnostic_trouble_codes_active(comm::message::Message& message);
    void on_diagnostic_trouble_codes_previous_active(comm::message::Message& message);
    void on_diagnostic_trouble_codes_reset_previous_active(comm::message::Message& message);
    void on_ecu_identification(comm::message::Message& message);
    void on_isobus_compliance_certification(comm::message::Message& message);
    void on_product_identification(comm::message::Message& message);
    void on_software_identification(comm::message::Message& message);
    void on_working_set_master(comm::message::Message& message);

    /// Sends the requested group.
    void answer(const comm::message::Message& request, std::span<const std::uint8_t> payload);
    void answer(const comm::message::Message& request, std::string_view text);

    ECU& ecu_;
};

} // namespace qv::can_bus::ecu
