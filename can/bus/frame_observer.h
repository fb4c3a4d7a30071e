#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "can/hardware/frame_message.h"
#include "can/network/bus.h"
#include "can/network/pdu/pdu.h"
#include "comm/observer.h"

namespace qv::can_bus::bus {

/// Turns received frames into PDUs, and keeps from the address claims among them who holds which address
/// [ISO 11783-5 4.5].
///
/// This is the only way into the network layer. A frame from a sender that has not claimed an address is lost,
/// unless it is a request or a claim; the first local ECU then asks all for their claims.
/// Thread: the bus thread. Lifetime: the bus outlives it.
class Frame_observer final : public comm::observer::Observer_dispatcher_id {
public:
    explicit Frame_observer(Bus& bus);

    void subscribe() override;
    void unsubscribe() override;

private:
    /// A claim that was looked at: its sender, and what it has changed.
    struct Claim {
        std::shared_ptr<node::Node> named;  ///< the node of the claim's NAME
        std::shared_ptr<node::Node> holder; ///< who held the claimed address until now; may be empty
        bool is_new = false;
        bool holder_changed = false;
        bool named_changed = false;
    };

    void on_frame_received(comm::message::Message& message);
    void on_time_elapsed(comm::message::Message& message);

    void identify_sender(pdu::PDU& pdu) const;
    void track_address_claim(pdu::PDU& pdu);
    void find_or_create(Claim& claim, name::Name claimed_name);
    void move_address(Claim& claim, std::uint32_t source_address);
    void announce(const Claim& claim) const;
    void request_claim_of(std::uint32_t source_address);
    void post(std::unique_ptr<comm::message::Message> message) const;

    Bus& bus_;
    std::shared_ptr<comm::dispatcher::Dispatcher> dispatcher_;
    std::uint32_t request_timer_;                     ///< milliseconds since the last request
    std::array<std::uint32_t, 256> request_counts_{}; ///< requests made, for each source address
};

} // namespace qv::can_bus::bus
