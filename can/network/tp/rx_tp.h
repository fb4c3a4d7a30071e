#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "can/network/tp/tp.h"
#include "comm/dispatcher.h"
#include "framework/byte_array.h"

namespace qv::can_bus::tp::rx {

/// What all receptions have in common: the array being filled and the window's bitmap.
///
/// The array is allocated once, at creation, and moves into the finished PDU. It is not touched beyond its
/// first byte before data comes, so that an announcement alone costs address space, not memory.
class TP : public tp::TP {
public:
    bool window_complete() const override;
    bool data_ready() const override { return data_.size() == size_; }
    /// Gives up the finished message.
    Byte_array take_data() noexcept { return std::move(data_); }

protected:
    TP(std::shared_ptr<node::Node> peer, std::uint32_t pgn, std::uint32_t size, bool broadcast,
       std::uint32_t packets_per_cts_maximum);

    /// Opens the window of `count` packets from the index `start` on; nothing of it has been seen.
    void open_window(std::uint32_t start, std::uint32_t count) noexcept;
    /// Stores the packet `index` of the window. False, with nothing changed, when it does not belong there.
    bool store(std::uint32_t index, std::span<const std::uint8_t> bytes);
    /// Posts `Transfer_update` when one is due.
    void post_transfer_update(comm::dispatcher::Dispatcher_id dispatcher_id) const;

private:
    Byte_array data_;
    std::array<std::uint32_t, 8> bitmap_{}; ///< bit i: packet i of the window has arrived
};

} // namespace qv::can_bus::tp::rx
