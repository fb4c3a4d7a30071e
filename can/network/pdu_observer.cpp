#include "can/network/pdu_observer.h"

#include <memory>

#include "can/network/node/manager.h"
#include "can/network/pdu/little_endian.h"
#include "can/network/pdu/pdu.h"
#include "can/network/tractor_ecu_message.h"
#include "comm/master.h"

namespace qv::can_bus {

namespace {

using node::detail::Manager;
using tractor_ecu::message::Key_switch_state_changed;
using tractor_ecu::message::speed_distance::Ground_0;
using tractor_ecu::message::speed_distance::Wheel_0;

constexpr std::uint32_t agriculture = 2;         ///< industry group
constexpr std::uint32_t non_specific_system = 0; ///< device class
constexpr std::uint32_t tractor_ecu_function = 134;

/// Bytes; each node keeps what it told of itself, and a text that is longer than any identification is dropped.
constexpr std::uint32_t identification_size_maximum = 32768;

/// Whether a PDU is a full speed message of the first tractor ECU.
bool is_tractor_speed(const pdu::PDU& pdu)
{
    if (pdu.data.size() < 8 || !pdu.source_node) {
        return false;
    }
    const name::Name name = pdu.source_node->name();
    return name::industry_group(name) == agriculture && name::device_class(name) == non_specific_system &&
           name::function(name) == tractor_ecu_function && name::function_instance(name) == 0;
}

/// The field of two bits at `position`, from 0 on.
std::uint32_t two_bits(std::uint8_t byte, unsigned position) { return byte >> (2 * position) & 3U; }

} // namespace

PDU_observer::PDU_observer(comm::dispatcher::Dispatcher_id pdu_dispatcher_id,
                           comm::dispatcher::Dispatcher_id report_dispatcher_id) noexcept
    : Observer_dispatcher_id(pdu_dispatcher_id)
    , report_dispatcher_id_(report_dispatcher_id)
{}

template <class Visit> void PDU_observer::for_each_subscription(Visit visit)
{
    namespace pgn = pdu::pgn;
    visit(pgn::component_identification, &PDU_observer::on_component_identification);
    visit(pgn::trouble_codes_active, &PDU_observer::on_diagnostic_trouble_codes_active);
    visit(pgn::trouble_codes_previous_active, &PDU_observer::on_diagnostic_trouble_codes_previous_active);
    visit(pgn::ecu_identification, &PDU_observer::on_ecu_identification);
    visit(pgn::product_identification, &PDU_observer::on_product_identification);
    visit(pgn::software_identification, &PDU_observer::on_software_identification);
    visit(pgn::ground_speed_distance, &PDU_observer::on_speed_distance_ground);
    visit(pgn::wheel_speed_distance, &PDU_observer::on_speed_distance_wheel);
}

void PDU_observer::subscribe()
{
    for_each_subscription([this](std::uint32_t pgn, auto handler) { add(pgn, handler); });
}

void PDU_observer::unsubscribe()
{
    for_each_subscription([this](std::uint32_t pgn, auto) { remove(pgn); });
}

void PDU_observer::hand_to_manager(const comm::message::Message& message, Process process)
{
    const auto& pdu = dynamic_cast<const pdu::PDU&>(message);
    if (pdu.address_holder && pdu.address_holder->manager() && pdu.length == pdu.data.size() &&
        pdu.length <= identification_size_maximum) {
        ((*pdu.address_holder->manager()).*process)(pdu.data);
    }
}

void PDU_observer::on_component_identification(comm::message::Message& message)
{
    hand_to_manager(message, &Manager::process_component_identification);
}

void PDU_observer::on_diagnostic_trouble_codes_active(comm::message::Message& message)
{
    hand_to_manager(message, &Manager::process_diagnostic_trouble_codes_active);
}

void PDU_observer::on_diagnostic_trouble_codes_previous_active(comm::message::Message& message)
{
    hand_to_manager(message, &Manager::process_diagnostic_trouble_codes_previous_active);
}

void PDU_observer::on_ecu_identification(comm::message::Message& message)
{
    hand_to_manager(message, &Manager::process_ecu_identification);
}

void PDU_observer::on_product_identification(comm::message::Message& message)
{
    hand_to_manager(message, &Manager::process_product_identification);
}

void PDU_observer::on_software_identification(comm::message::Message& message)
{
    hand_to_manager(message, &Manager::process_software_identification);
}

/// ISO 11783-7 B.4.
void PDU_observer::on_speed_distance_ground(comm::message::Message& message)
{
    const auto& pdu = dynamic_cast<const pdu::PDU&>(message);
    if (!is_tractor_speed(pdu)) {
        return;
    }
    Ground_0::Values values;
    values.speed = read_little_endian(pdu.data.bytes(), 0, 2);
    values.distance = read_little_endian(pdu.data.bytes(), 2, 4);
    values.direction = two_bits(pdu.data[7], 0);
    comm::post_to(report_dispatcher_id_, std::make_unique<Ground_0>(values));
}

/// ISO 11783-7 B.3.
void PDU_observer::on_speed_distance_wheel(comm::message::Message& message)
{
    const auto& pdu = dynamic_cast<const pdu::PDU&>(message);
    if (!is_tractor_speed(pdu)) {
        return;
    }
    Wheel_0::Values values;
    values.speed = read_little_endian(pdu.data.bytes(), 0, 2);
    values.distance = read_little_endian(pdu.data.bytes(), 2, 4);
    values.maximum_time_of_tractor_power = pdu.data[6];
    values.direction = two_bits(pdu.data[7], 0);
    values.key_switch = two_bits(pdu.data[7], 1);
    values.start_stop = two_bits(pdu.data[7], 2);
    values.operator_direction_reversed = two_bits(pdu.data[7], 3);
    comm::post_to(report_dispatcher_id_, std::make_unique<Wheel_0>(values));
    if (values.key_switch != key_switch_) {
        key_switch_ = values.key_switch;
        comm::post_to(report_dispatcher_id_, std::make_unique<Key_switch_state_changed>(key_switch_));
    }
}

} // namespace qv::can_bus
