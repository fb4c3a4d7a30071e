#include "service/target.h"

#include <utility>

namespace qv::can_bus::flr {

void Target::choose(std::shared_ptr<node::Node> node)
{
    const bool is_left_in_bootloader =
        node == chosen_node_ && !node::has_address(node) && node::has_address(node_);
    chosen_node_ = std::move(node);
    if (!is_left_in_bootloader) {
        node_ = chosen_node_;
    }
}

void Target::begin() noexcept
{
    last_address_ = pdu::null_address;
    note_address();
}

void Target::note_address() noexcept
{
    if (node::has_address(node_)) {
        last_address_ = node_->source_address;
    }
}

bool Target::has_lost(std::uint32_t address) const noexcept
{
    return !node::has_address(node_) && address != pdu::null_address && address == last_address_;
}

/// The claim may tell that it has no address; then the last one is kept.
void Target::follow(std::shared_ptr<node::Node> node)
{
    node_ = std::move(node);
    note_address();
}

} // namespace qv::can_bus::flr
