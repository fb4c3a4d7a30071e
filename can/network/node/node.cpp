#include "can/network/node/node.h"

#include <new>

#include "can/network/node/manager.h"

namespace qv::can_bus::node {

std::shared_ptr<Node> Node::create(name::Name node_name, Bus_port& bus)
{
    std::shared_ptr<Node> node(new Node(node_name));
    node->pdu_source = node;
    if (bus.detail_manager_enabled()) {
        node->manager_.reset(new (std::nothrow) detail::Manager(*node, bus));
        if (!node->manager_) {
            return nullptr;
        }
        node->manager_->start();
    }
    return node;
}

Node::~Node() = default;

} // namespace qv::can_bus::node
