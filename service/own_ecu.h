#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "can/network/ecu/ecu.h"
#include "can/network/node/node.h"
#include "can/network/tp/data_supplier.h"
#include "framework/byte_array.h"

namespace qv::can_bus::flr {

/// The service's own control function as its way to the bus: everything that the service sends leaves here,
/// with priority 6. Nothing leaves before the bus has made the ECU, and nothing to an empty node.
///
/// Thread: the bus thread.
class Own_ecu {
public:
    void attach(std::shared_ptr<ecu::ECU> created) noexcept { ecu_ = std::move(created); }
    void detach() noexcept { ecu_.reset(); }
    bool attached() const noexcept { return ecu_ != nullptr; }
    /// Whether what is sent leaves: not without an address.
    bool is_claimed() const noexcept { return ecu_ != nullptr && ecu_->is_claimed(); }

    /// Asks `node` for a parameter group [ISO 11783-3 5.4.2].
    void request_software_identification(const std::shared_ptr<node::Node>& node) const;
    void request_ecu_identification(const std::shared_ptr<node::Node>& node) const;
    /// Asks everybody for the address claim, also while the own address is not claimed.
    void request_address_claims() const;

    /// Sends up to 8 bytes to `node`.
    void send(const std::shared_ptr<node::Node>& node, std::uint32_t pgn,
              std::span<const std::uint8_t> bytes) const;
    /// Sends a payload of any length to `node`, above 8 bytes by a transport protocol, which reads it through
    /// `supplier` and holds that until it is done. An empty one is ignored.
    void send_with_transport(const std::shared_ptr<node::Node>& node, std::uint32_t pgn,
                             std::unique_ptr<Byte_array> payload,
                             std::shared_ptr<data_supplier::Data_supplier> supplier) const;
    /// Ends what is sent through this supplier.
    void withdraw(const data_supplier::Data_supplier& supplier) const;

private:
    void request(const std::shared_ptr<node::Node>& node, std::uint32_t pgn) const;

    std::shared_ptr<ecu::ECU> ecu_; ///< empty until the bus has made it, and after it was deleted
};

} // namespace qv::can_bus::flr
