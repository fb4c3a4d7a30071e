#include "can/network/tp/rx_tp.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "can/network/tp/rx_message.h"
#include "comm/master.h"

namespace qv::can_bus::tp::rx {

namespace {
constexpr std::uint32_t update_interval = 71; ///< packets between two `Transfer_update`
} // namespace

TP::TP(std::shared_ptr<node::Node> peer, std::uint32_t pgn, std::uint32_t size, bool broadcast,
       std::uint32_t packets_per_cts_maximum)
    : tp::TP(std::move(peer), pgn, size, broadcast, packets_per_cts_maximum)
{
    if (data_.resize(size)) {
        *data_.begin() = 0; // told by `Transfer_update` even before data comes
    }
}

bool TP::window_complete() const
{
    std::uint32_t seen = 0;
    for (const std::uint32_t word : bitmap_) {
        seen += static_cast<std::uint32_t>(std::popcount(word));
    }
    return tp::TP::window_complete() && seen == window_done_;
}

void TP::open_window(std::uint32_t start, std::uint32_t count) noexcept
{
    window_start_ = start;
    window_count_ = count;
    window_done_ = 0;
    packets_done_ = start;
    bitmap_.fill(0);
}

bool TP::store(std::uint32_t index, std::span<const std::uint8_t> bytes)
{
    if (state() != State::Receiving || bytes.size() != packet_size || packets_done_ >= packet_count_ ||
        index >= window_count_ || window_done_ >= window_count_) {
        return false;
    }
    bitmap_[index / 32] |= 1U << index % 32;
    const std::uint32_t offset = (window_start_ + index) * packet_size;
    std::copy_n(bytes.begin(), std::min(packet_size, size_ - offset), data_.begin() + offset);
    ++window_done_;
    ++packets_done_;
    enter(State::Receiving, timeout::between_packets);
    return true;
}

void TP::post_transfer_update(comm::dispatcher::Dispatcher_id dispatcher_id) const
{
    if (packets_done_ % update_interval != 0 && packets_done_ != packet_count_) {
        return;
    }
    auto update = std::make_unique<message::Transfer_update>();
    update->peer = peer_;
    update->pgn = pgn_;
    update->finished = finished();
    update->first_byte = data_[0];
    update->bytes_done = std::min(size_, packets_done_ * packet_size);
    update->size = size_;
    comm::post_to(dispatcher_id, std::move(update));
}

} // namespace qv::can_bus::tp::rx
