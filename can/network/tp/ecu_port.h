#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "can/network/node/node.h"
#include "comm/dispatcher.h"

namespace qv::can_bus::tp {

namespace tx {
class TP;
} // namespace tx

/// Limits of the transport protocols, from the ECU's configuration.
struct Limits {
    std::uint32_t rx_dt_message_count_cts_maximum = 16;
    std::uint32_t tx_dt_message_count_time_cycle_maximum = 4;
    std::uint32_t tx_try_count_maximum = 5;
};

/// What the transport layer needs of the ECU whose sessions it runs. The ECU outlives its sessions.
///
/// Thread: the bus thread.
class Ecu_port {
public:
    virtual ~Ecu_port() = default;
    /// Sends one frame with priority 6; an empty `destination` means all. Dropped while the ECU holds no
    /// address.
    virtual void transmit(const std::shared_ptr<node::Node>& destination, std::uint32_t pgn,
                          std::span<const std::uint8_t> bytes) = 0;
    virtual const Limits& limits() const = 0;
    virtual std::uint32_t source_address() const = 0;
    /// The ECU's own dispatcher, where `TP_received` and `Transfer_update` go.
    virtual comm::dispatcher::Dispatcher_id dispatcher_id() const = 0;
    /// The dispatcher on which the ECU's PDUs arrive by PGN.
    virtual comm::dispatcher::Dispatcher_id pdu_dispatcher_id() const = 0;
    /// The bus's dispatcher, where a finished message is delivered.
    virtual comm::dispatcher::Dispatcher_id bus_dispatcher_id() const = 0;
    /// A send session has ended, well or not: posts `Transferred`.
    virtual void transferred(std::shared_ptr<tx::TP> session) = 0;
};

} // namespace qv::can_bus::tp
