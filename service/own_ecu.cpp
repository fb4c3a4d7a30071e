#include "service/own_ecu.h"

#include "can/network/pdu/pdu.h"

namespace qv::can_bus::flr {

namespace {

constexpr std::uint32_t priority = 6;

} // namespace

void Own_ecu::request_software_identification(const std::shared_ptr<node::Node>& node) const
{
    request(node, pdu::pgn::software_identification);
}

void Own_ecu::request_ecu_identification(const std::shared_ptr<node::Node>& node) const
{
    request(node, pdu::pgn::ecu_identification);
}

void Own_ecu::request(const std::shared_ptr<node::Node>& node, std::uint32_t pgn) const
{
    send(node, pdu::pgn::request, pdu::request_payload(pgn));
}

void Own_ecu::request_address_claims() const
{
    if (ecu_ != nullptr) {
        ecu_->transmit(nullptr, priority, pdu::pgn::request, pdu::request_payload(pdu::pgn::address_claimed),
                       true);
    }
}

void Own_ecu::send(const std::shared_ptr<node::Node>& node, std::uint32_t pgn,
                   std::span<const std::uint8_t> bytes) const
{
    if (ecu_ != nullptr && node != nullptr) {
        ecu_->transmit(node, priority, pgn, bytes, false);
    }
}

void Own_ecu::send_with_transport(const std::shared_ptr<node::Node>& node, std::uint32_t pgn,
                                  std::unique_ptr<Byte_array> payload,
                                  std::shared_ptr<data_supplier::Data_supplier> supplier) const
{
    if (ecu_ != nullptr && node != nullptr && payload != nullptr) {
        ecu_->send_with_transport(node, priority, pgn, std::move(payload), std::move(supplier));
    }
}

void Own_ecu::withdraw(const data_supplier::Data_supplier& supplier) const
{
    if (ecu_ != nullptr) {
        ecu_->withdraw(supplier);
    }
}

} // namespace qv::can_bus::flr
