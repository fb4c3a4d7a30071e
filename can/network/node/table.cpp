#include "can/network/node/table.h"

#include <algorithm>

namespace qv::can_bus::node {

std::shared_ptr<Node> Table::find_by_address(std::uint32_t source_address) const
{
    const auto found = std::ranges::lower_bound(nodes_, source_address, {}, &Node::source_address);
    return found != nodes_.end() && (*found)->source_address == source_address ? *found : nullptr;
}

std::shared_ptr<Node> Table::find_by_name(name::Name node_name) const
{
    const auto found = std::ranges::find(nodes_, node_name, &Node::name);
    return found != nodes_.end() ? *found : nullptr;
}

void Table::sort() { std::ranges::stable_sort(nodes_, {}, &Node::source_address); }

} // namespace qv::can_bus::node
