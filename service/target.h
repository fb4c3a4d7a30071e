#pragma once

#include <cstdint>
#include <memory>

#include "can/network/node/node.h"
#include "can/network/pdu/pdu.h"

namespace qv::can_bus::flr {

/// The ECU that a session programs, known again when it returns from a restart at another address, or from its
/// bootloader under another NAME.
///
/// Thread: the bus thread.
class Target {
public:
    /// The next session is for this node. When the session before was for the same one, which now has no address,
    /// it was left in its bootloader, under the NAME by which that session knew it last.
    void choose(std::shared_ptr<node::Node> node);
    /// A session begins: the address that the target of the session before had does not count any more.
    void begin() noexcept;
    /// Keeps the address while there is one, since at the next look the target may be without.
    void note_address() noexcept;
    /// Whether it had this address last, and has none now.
    bool has_lost(std::uint32_t address) const noexcept;
    /// It is on the bus as this node.
    void follow(std::shared_ptr<node::Node> node);
    void drop() noexcept { node_.reset(); }

    const std::shared_ptr<node::Node>& node() const noexcept { return node_; }

private:
    std::shared_ptr<node::Node> node_;
    std::shared_ptr<node::Node> chosen_node_;        ///< as it was chosen, before it returned as another
    std::uint32_t last_address_ = pdu::null_address; ///< of this session's target
};

} // namespace qv::can_bus::flr
