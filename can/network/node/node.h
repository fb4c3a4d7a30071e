#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "can/network/pdu/name.h"
#include "can/network/pdu/pdu.h"
#include "comm/observer.h"

namespace qv::can_bus::working_set {
class Handler;
} // namespace qv::can_bus::working_set

namespace qv::can_bus::node {

namespace detail {
class Manager;
} // namespace detail

/// What the node layer needs of the bus above it. A node may be held longer than the bus lives; its manager
/// asks nothing of the bus once it is stopped, and the bus stops all of them before it goes.
///
/// Thread: the bus thread.
class Bus_port {
public:
    virtual ~Bus_port() = default;
    /// The bus's dispatcher, where node messages go.
    virtual comm::dispatcher::Dispatcher_id dispatcher_id() const = 0;
    virtual bool detail_manager_enabled() const = 0;
    /// Whether the first local ECU is there and holds its address.
    virtual bool can_request() const = 0;
    /// Sends a request for `pgn` from the first local ECU to `node`.
    virtual void request(std::uint32_t pgn, const std::shared_ptr<Node>& node) = 0;
};

/// A control function seen on the bus; one object for each NAME. It stays when it loses its address.
///
/// Thread: the bus thread. Held by `std::shared_ptr`, also by PDUs and messages, and so at times longer than
/// the bus lives; it is silent then.
class Node final : public std::enable_shared_from_this<Node> {
public:
    /// Without an address at first. Empty when the companion that is due cannot be made.
    static std::shared_ptr<Node> create(name::Name node_name, Bus_port& bus);
    ~Node();

    name::Name name() const noexcept { return name_; }
    const std::shared_ptr<detail::Manager>& manager() const noexcept { return manager_; }
    /// What it announced as the master of a working set.
    const std::shared_ptr<working_set::Handler>& working_set_handler() const noexcept
    {
        return working_set_handler_;
    }

    std::uint32_t source_address = pdu::null_address; ///< 254 once another node has taken its address
    /// Whom a PDU from this address names as its source: the node itself, or the master of its working set.
    std::weak_ptr<Node> pdu_source;

private:
    explicit Node(name::Name node_name);

    name::Name name_;
    std::shared_ptr<detail::Manager> manager_;                  ///< empty when switched off
    std::shared_ptr<working_set::Handler> working_set_handler_; ///< never empty
};

/// Whether there is a node, and it holds an address.
inline bool has_address(const std::shared_ptr<Node>& node) noexcept
{
    return node != nullptr && node->source_address != pdu::null_address;
}

} // namespace qv::can_bus::node
