#include "can/network/node/node.h"

#include <new>

#include "can/network/node/manager.h"
#include "can/network/node/working_set_handler.h"

namespace qv::can_bus::node {

Node::Node(name::Name node_name)
    : name_(node_name)
    , working_set_handler_(std::make_shared<working_set::Handler>())
{}

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
