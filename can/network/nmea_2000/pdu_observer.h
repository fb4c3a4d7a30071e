#pragma once

#include <memory>

#include "can/network/pdu/pdu.h"
#include "can/network/tp/rx_fast_packet_manager.h"
#include "comm/observer.h"

namespace qv::can_bus::nmea_2000 {

/// Turns the position groups of known senders into the messages of message.h. Those of one frame have exactly 8
/// bytes; of the others, a PDU of 8 bytes is a frame of a fast packet, and any other is a whole message.
///
/// Thread: the bus thread, on the bus's PDU dispatcher. Lifetime: the bus owns it.
class PDU_observer final : public comm::observer::Observer_dispatcher_id {
public:
    /// Listens on `pdu_dispatcher_id`, and posts to `bus_dispatcher_id`.
    PDU_observer(comm::dispatcher::Dispatcher_id pdu_dispatcher_id,
                 comm::dispatcher::Dispatcher_id bus_dispatcher_id);

    void subscribe() override;
    void unsubscribe() override;

private:
    template <class Visit> static void for_each_subscription(Visit visit);

    template <class Position> void on_frame(comm::message::Message& message);
    template <class Position> void on_fast_packet(comm::message::Message& message);

    comm::dispatcher::Dispatcher_id bus_dispatcher_id_;
    std::shared_ptr<tp::rx::fast_packet::Manager> fast_packets_; ///< never empty
};

} // namespace qv::can_bus::nmea_2000
