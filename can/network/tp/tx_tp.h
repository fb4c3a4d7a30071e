#pragma once

#include <cstdint>
#include <memory>

#include "can/network/tp/data_supplier.h"
#include "can/network/tp/ecu_port.h"
#include "can/network/tp/frame.h"
#include "can/network/tp/tp.h"

namespace qv::can_bus::tp::tx {

/// Sends one message: to a peer by TP or ETP, or to all by BAM [ISO 11783-3].
///
/// An attempt that fails begins again from the first packet until the tries are used up; a broadcast has one.
/// Its frames leave in bursts, one at each tick. Frames that the ECU does not send, because it lost its
/// address, are not noticed here: the attempt then ends by its time-out.
///
/// Thread: the bus thread. The ECU outlives it.
class TP final : public tp::TP {
public:
    /// `payload` has `size` bytes unless there is a `supplier`, which then produces them. An empty `peer` is a
    /// broadcast.
    TP(Ecu_port& ecu, std::shared_ptr<data_supplier::Data_supplier> supplier, std::uint32_t pgn,
       std::unique_ptr<Byte_array> payload, std::uint32_t size, const std::shared_ptr<node::Node>& peer);

    bool data_ready() const override { return payload_ && !payload_->empty(); }
    void on_time_elapsed(std::uint32_t elapsed) override;
    /// The peer asks for `count` packets from the index `next` on. 0 packets hold the session.
    void on_cts(std::uint32_t next, std::uint32_t count);
    /// The peer has got `size` bytes in `packets`. Before all of them have been sent it is the answer to another
    /// message, and means nothing.
    void on_eoma(std::uint32_t size, std::uint32_t packets);
    /// The peer gave up; the session tries again at the next tick.
    void on_abort() noexcept;
    /// Ends as failed. A peer that is in the middle of the message is told.
    void withdraw();

    /// What the caller gave with the message, to know it by; may be empty.
    const std::shared_ptr<data_supplier::Data_supplier>& supplier() const noexcept { return supplier_; }

private:
    void on_timer();
    void start();
    void burst_step();
    void bam_step();
    bool burst();
    bool send_packet();
    void send(const frame::Frame& frame) { ecu_.transmit(peer_, frame::connection_pgn(extended_), frame); }

    std::unique_ptr<Byte_array> payload_;
    std::shared_ptr<data_supplier::Data_supplier> supplier_;
    Ecu_port& ecu_;
    std::uint32_t try_count_ = 0; ///< attempts started
    bool last_was_sent_ = false;  ///< the last packet, in one of the attempts
};

} // namespace qv::can_bus::tp::tx
