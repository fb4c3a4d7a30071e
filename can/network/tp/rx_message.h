#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "can/network/node/node.h"
#include "comm/message.h"

namespace qv::can_bus::tp::rx::message {

/// A message of more than 8 bytes has come in whole. Posted by the transport managers to the dispatcher of
/// the ECU, or of the bus for a broadcast.
class TP_received final : public comm::message::Cloneable<TP_received> {
public:
    static constexpr comm::message::Id id = 0x40031;
    TP_received(std::shared_ptr<node::Node> sender, std::uint32_t group, std::uint32_t byte_count) noexcept
        : Cloneable<TP_received>(id)
        , peer(std::move(sender))
        , pgn(group)
        , size(byte_count)
    {}
    std::shared_ptr<node::Node> peer;
    std::uint32_t pgn;
    std::uint32_t size; ///< bytes
};

/// How far a reception has come: every 71 packets, at its last packet, and when it is given up; the end of a
/// broadcast is not told. Posted to the same dispatchers.
class Transfer_update final : public comm::message::Cloneable<Transfer_update> {
public:
    static constexpr comm::message::Id id = 0x40032;
    Transfer_update() noexcept
        : Cloneable<Transfer_update>(id)
    {}
    std::shared_ptr<node::Node> peer;
    std::uint32_t pgn = 0;
    bool finished = false;
    std::uint8_t first_byte = 0; ///< of the data
    std::uint32_t bytes_done = 0;
    std::uint32_t size = 0; ///< bytes
};

} // namespace qv::can_bus::tp::rx::message
