#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "can/network/node/node.h"

namespace qv::can_bus::node {

/// All nodes of a bus, sorted by source address; nodes that lost theirs stand at 254.
///
/// Thread: the bus thread.
class Table {
public:
    /// The first node at this address, by binary search; empty when there is none.
    std::shared_ptr<Node> find_by_address(std::uint32_t source_address) const;
    /// The first node of this NAME, from the front.
    std::shared_ptr<Node> find_by_name(name::Name node_name) const;
    /// Appends; the caller sorts once the address stands.
    void append(std::shared_ptr<Node> node) { nodes_.push_back(std::move(node)); }
    /// Restores the order after an address changed; stable.
    void sort();
    const std::vector<std::shared_ptr<Node>>& nodes() const noexcept { return nodes_; }

private:
    std::vector<std::shared_ptr<Node>> nodes_;
};

} // namespace qv::can_bus::node
