#pragma once

#include <cstdint>

#include "comm/observer.h"
#include "framework/byte_array.h"

namespace qv::can_bus {

namespace node::detail {
class Manager;
} // namespace node::detail

/// Takes the identification and the trouble codes of all nodes from their PDUs, and the speed and the key
/// switch of the tractor.
///
/// Thread: the bus thread, on the bus's PDU dispatcher. Lifetime: the bus owns it.
class PDU_observer final : public comm::observer::Observer_dispatcher_id {
public:
    /// Listens on `pdu_dispatcher_id` and reports the tractor's messages to `report_dispatcher_id`.
    PDU_observer(comm::dispatcher::Dispatcher_id pdu_dispatcher_id,
                 comm::dispatcher::Dispatcher_id report_dispatcher_id) noexcept;

    void subscribe() override;
    void unsubscribe() override;

private:
    using Process = void (node::detail::Manager::*)(const Byte_array_fix&);

    template <class Visit> static void for_each_subscription(Visit visit);

    void on_component_identification(comm::message::Message& message);
    void on_diagnostic_trouble_codes_active(comm::message::Message& message);
    void on_diagnostic_trouble_codes_previous_active(comm::message::Message& message);
    void on_ecu_identification(comm::message::Message& message);
    void on_product_identification(comm::message::Message& message);
    void on_software_identification(comm::message::Message& message);
    void on_speed_distance_ground(comm::message::Message& message);
    void on_speed_distance_wheel(comm::message::Message& message);
    static void hand_to_manager(const comm::message::Message& message, Process process);

    std::uint32_t key_switch_ = 1; ///< the state heard last
    comm::dispatcher::Dispatcher_id report_dispatcher_id_;
};

} // namespace qv::can_bus
