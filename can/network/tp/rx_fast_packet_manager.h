#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "can/network/pdu/pdu.h"
#include "comm/observer.h"
#include "framework/byte_array.h"

namespace qv::can_bus::tp::rx::fast_packet {

/// A message in at most 32 frames of its own group, without any handshake.
struct TP {
    Byte_array data; ///< as long as the first frame says
    std::shared_ptr<node::Node> peer;
    std::uint32_t pgn = 0;
    std::uint32_t received = 0; ///< bytes
    std::uint32_t sequence = 0; ///< 0 to 7
    std::uint32_t timer = 0;    ///< milliseconds since the last frame
};

/// Assembles the fast packets of one bus, up to the 223 bytes that 32 frames hold; one that announces more never
/// becomes complete.
///
/// A message leaves at the tick after its last frame, through the queue of the bus's dispatcher; one that
/// stays incomplete for 152 ms is dropped. First frames beyond `sessions_maximum` open messages are ignored.
///
/// Thread: the bus thread. Its owner subscribes it after creation and unsubscribes it before it goes.
class Manager final : public comm::observer::Observer_dispatcher_id {
public:
    static constexpr std::size_t sessions_maximum = 512;

    explicit Manager(comm::dispatcher::Dispatcher_id bus_dispatcher_id) noexcept;

    void subscribe() override;
    void unsubscribe() override;
    /// A frame of a fast packet group. One without a known sender, or of another length than 8, is ignored.
    void on_frame(const pdu::PDU& pdu);

private:
    void on_time_elapsed(comm::message::Message& message);
    std::shared_ptr<TP> find(const pdu::PDU& pdu, std::uint32_t sequence) const;
    std::shared_ptr<TP> open(const pdu::PDU& pdu, std::uint32_t sequence);
    void hand_over(TP& session) const;

    std::vector<std::shared_ptr<TP>> sessions_;
};

} // namespace qv::can_bus::tp::rx::fast_packet
