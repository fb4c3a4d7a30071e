#include "can/network/ecu/pdu_request_observer.h"

#include <array>

#include "can/network/ecu/ecu.h"
#include "can/network/ecu/ecu_message.h"
#include "can/network/ecu/identification.h"
#include "can/network/pdu/little_endian.h"
#include "can/network/pdu/pdu.h"

namespace qv::can_bus::ecu {

namespace {

namespace pgn = pdu::pgn;
using Frame = std::array<std::uint8_t, ECU::frame_size_maximum>;

constexpr std::uint32_t priority = 6;
constexpr std::uint32_t working_set_priority = 7;

const pdu::PDU& pdu_of(const comm::message::Message& request) { return dynamic_cast<const pdu::PDU&>(request); }

/// Whom to answer; empty is all.
std::shared_ptr<node::Node> requester_of(const pdu::PDU& request)
{
    return request.global ? nullptr : request.source_node;
}

/// A frame of one meaningful byte.
Frame frame_of(std::uint32_t value)
{
    Frame frame;
    frame.fill(0xFF);
    frame[0] = static_cast<std::uint8_t>(value);
    return frame;
}

/// Positive, to `address` [ISO 11783-3 5.4.5].
Frame acknowledgment(std::uint32_t address, std::uint32_t acknowledged)
{
    Frame frame = frame_of(0);
    frame[4] = static_cast<std::uint8_t>(address);
    write_little_endian(frame, 5, 3, acknowledged);
    return frame;
}

} // namespace

PDU_request_observer::PDU_request_observer(ECU& ecu)
    : Observer_dispatcher_id(ecu.request_dispatcher_id())
    , ecu_(ecu)
{}

template <class Visit> void PDU_request_observer::for_each_subscription(Visit visit)
{
    using Self = PDU_request_observer;
    visit(pgn::address_claimed, &Self::on_address_claim);
    visit(pgn::control_function_functionalities, &Self::on_control_function_functionalities);
    visit(pgn::component_identification, &Self::on_component_identification);
    visit(pgn::diagnostic_protocol, &Self::on_diagnostic_protocol);
    visit(pgn::trouble_codes_active, &Self::on_diagnostic_trouble_codes_active);
    visit(pgn::trouble_codes_previous_active, &Self::on_diagnostic_trouble_codes_previous_active);
    visit(pgn::trouble_codes_reset_previous_active, &Self::on_diagnostic_trouble_codes_reset_previous_active);
    visit(pgn::ecu_identification, &Self::on_ecu_identification);
    visit(pgn::compliance_certification, &Self::on_isobus_compliance_certification);
    visit(pgn::product_identification, &Self::on_product_identification);
    visit(pgn::software_identification, &Self::on_software_identification);
    visit(pgn::working_set_master, &Self::on_working_set_master);
}

void PDU_request_observer::subscribe()
{
    for_each_subscription([this](std::uint32_t requested, auto handler) { add(requested, handler); });
}

void PDU_request_observer::unsubscribe()
{
    for_each_subscription([this](std::uint32_t requested, auto) { remove(requested); });
}

void PDU_request_observer::answer(const comm::message::Message& request, std::span<const std::uint8_t> payload)
{
    const pdu::PDU& pdu = pdu_of(request);
    ecu_.send_with_transport(requester_of(pdu), priority, pdu.pgn, payload);
}

void PDU_request_observer::answer(const comm::message::Message& request, std::string_view text)
{
    answer(request, std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

/// Goes to all, whoever asked [ISO 11783-5 4.5.3].
void PDU_request_observer::on_address_claim(comm::message::Message&) { ecu_.send_address_claim(); }

void PDU_request_observer::on_control_function_functionalities(comm::message::Message& message)
{
    answer(message, encode(ecu_.functionalities()));
}

void PDU_request_observer::on_component_identification(comm::message::Message& message)
{
    answer(message, identification::component(ecu_.properties(), ecu_.name()));
}

/// ISO 11783-12, PGN 64818.
void PDU_request_observer::on_diagnostic_protocol(comm::message::Message& message)
{
    answer(message, frame_of(ecu_.properties().diagnostic_protocol));
}

/// DM1 [SAE J1939-73 5.7.1].
void PDU_request_observer::on_diagnostic_trouble_codes_active(comm::message::Message& message)
{
    answer(message, diagnostic::trouble_code::encode(ecu_.trouble_codes().active));
}

/// DM2 [SAE J1939-73 5.7.2].
void PDU_request_observer::on_diagnostic_trouble_codes_previous_active(comm::message::Message& message)
{
    answer(message, diagnostic::trouble_code::encode(ecu_.trouble_codes().previous_active));
}

/// DM3 [SAE J1939-73 5.7.3]. Clears also when no acknowledgment can leave.
void PDU_request_observer::on_diagnostic_trouble_codes_reset_previous_active(comm::message::Message& message)
{
    const pdu::PDU& request = pdu_of(message);
    ecu_.trouble_codes().previous_active.clear();
    ecu_.transmit(requester_of(request), priority, pgn::acknowledgment,
                  acknowledgment(request.source_address, request.pgn), false);
}

void PDU_request_observer::on_ecu_identification(comm::message::Message& message)
{
    answer(message, identification::ecu(ecu_.properties(), ecu_.name()));
}

void PDU_request_observer::on_isobus_compliance_certification(comm::message::Message& message)
{
    answer(message, identification::compliance_certification(ecu_.properties()));
}

void PDU_request_observer::on_product_identification(comm::message::Message& message)
{
    answer(message, identification::product(ecu_.properties()));
}

/// The application knows its software, and answers with a `Response`.
void PDU_request_observer::on_software_identification(comm::message::Message& message)
{
    ecu_.report<message::software_identification::Request>(requester_of(pdu_of(message)));
}

/// A working set of one member, the ECU itself [ISO 11783-7, PGN 65037].
void PDU_request_observer::on_working_set_master(comm::message::Message& message)
{
    const pdu::PDU& request = pdu_of(message);
    ecu_.transmit(requester_of(request), working_set_priority, request.pgn, frame_of(1), false);
}

} // namespace qv::can_bus::ecu
