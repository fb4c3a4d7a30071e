#include "service/programmable_item_pdu_observer.h"

#include <array>
#include <utility>

#include "can/network/pdu/name.h"
#include "can/network/pdu/pdu.h"
#include "service/flintrow.h"

namespace qv::can_bus::flr {

namespace {

using Self = Programmable_item_PDU_Observer;

constexpr std::uint32_t gateway_manufacturer = 151;
constexpr std::uint8_t gateway_host_report = 1;
constexpr std::uint8_t gateway_report_version = '1';

const pdu::PDU& pdu_of(comm::message::Message& message) { return dynamic_cast<pdu::PDU&>(message); }

bool is_gateway_report(const pdu::PDU& pdu)
{
    return pdu.address_holder != nullptr &&
           name::manufacturer_code(pdu.address_holder->name()) == gateway_manufacturer && pdu.data.size() >= 2 &&
           pdu.data[0] == gateway_host_report && pdu.data[1] == gateway_report_version;
}

} // namespace

template <class Visit> void Self::for_each_subscription(Visit visit)
{
    visit(pdu::pgn::address_claimed, &Self::on_address_claimed);
    visit(pdu::pgn::proprietary_a, &Self::on_custom_message);
    visit(pdu::pgn::memory_access_response, &Self::on_memory_access_response);
    visit(pdu::pgn::memory_access_data, &Self::on_memory_access_tp_receive);
    visit(pdu::pgn::ecu_identification, &Self::on_ecu_identification);
    visit(pdu::pgn::software_identification, &Self::on_software_identification);
    visit(pdu::pgn::proprietary_b_gateway, &Self::on_gwpgn);
}

void Self::subscribe()
{
    for_each_subscription([this](auto pgn, auto handler) { add(pgn, handler); });
}

void Self::unsubscribe()
{
    for_each_subscription([this](auto pgn, auto) { remove(pgn); });
}

void Self::on_address_claimed(comm::message::Message& message)
{
    const auto& pdu = pdu_of(message);
    if (pdu.data.size() != 8 || !pdu.global || pdu.address_holder == nullptr) {
        return;
    }
    const auto name = name::from_bytes(pdu.data.bytes());
    if (pdu.address_holder->name() == name) { // else the bus did not take the claim over
        flintrow_.on_address_claimed(pdu.source_address, name, pdu.address_holder);
    }
}

void Self::on_custom_message(comm::message::Message& message)
{
    flintrow_.session.on_custom_message(pdu_of(message));
}

void Self::on_memory_access_response(comm::message::Message& message)
{
    flintrow_.session.on_memory_access_response(pdu_of(message));
}

void Self::on_memory_access_tp_receive(comm::message::Message& message)
{
    flintrow_.session.on_memory_access_tp_receive(pdu_of(message));
}

void Self::on_ecu_identification(comm::message::Message& message)
{
    const auto& pdu = pdu_of(message);
    flintrow_.inventory.ecu_identified(pdu.source_address, pdu.data.bytes());
}

void Self::on_software_identification(comm::message::Message& message)
{
    const auto& pdu = pdu_of(message);
    flintrow_.inventory.software_identified(pdu.source_address, pdu.data.bytes());
    flintrow_.session.on_software_identification(pdu.source_address);
}

void Self::on_gwpgn(comm::message::Message& message)
{
    const auto& pdu = pdu_of(message);
    if (is_gateway_report(pdu)) {
        flintrow_.inventory.gateway_reported(pdu.source_address, pdu.data.bytes());
    }
}

} // namespace qv::can_bus::flr
