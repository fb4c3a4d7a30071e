#include "can/bus/frame_observer.h"

#include <utility>

#include "can/network/node/node_message.h"
#include "can/network/pdu/message_assigned_id.h"
#include "comm/time_message.h"

namespace qv::can_bus::bus {

namespace {

constexpr std::uint32_t claim_size = 8;
/// A bus has 254 addresses. Whoever claims with ever new NAMEs must not fill the memory.
constexpr std::size_t node_maximum = 1024;
constexpr std::uint32_t request_priority = 6;

/// A request or an address claim, which also an unknown sender may send [ISO 11783-5 4.4.2].
bool is_open_to_all(std::uint32_t pgn) { return pgn == pdu::pgn::request || pgn == pdu::pgn::address_claimed; }

/// Nobody holds the global address: what is meant for a node that claimed it would go to all.
bool is_address_claim(const pdu::PDU& pdu)
{
    return pdu.pgn == pdu::pgn::address_claimed && pdu.data.size() == claim_size && pdu.pdu1 && pdu.global &&
           pdu.source_address != pdu::global_address;
}

} // namespace

Frame_observer::Frame_observer(Bus& bus)
    : Observer_dispatcher_id(bus.dispatcher_id())
    , bus_(bus)
    , dispatcher_(bus.dispatcher())
    , request_timer_(bus.properties().time_threshold)
{}

void Frame_observer::subscribe()
{
    add(frame::message::Received::id, &Frame_observer::on_frame_received);
    add_routed(comm::message::time_elapsed::Time_elapsed::id, &Frame_observer::on_time_elapsed);
}

void Frame_observer::unsubscribe()
{
    remove_routed(comm::message::time_elapsed::Time_elapsed::id);
    remove(frame::message::Received::id);
}

void Frame_observer::on_frame_received(comm::message::Message& message)
{
    const auto& frame = dynamic_cast<const frame::message::Received&>(message);
    if (frame.error || frame.remote || !frame.extended) {
        return;
    }
    auto pdu = std::make_unique<pdu::PDU>(frame.identifier, frame.data);
    identify_sender(*pdu);
    if (is_address_claim(*pdu)) {
        track_address_claim(*pdu);
    }
    if (pdu->source_node || is_open_to_all(pdu->pgn)) {
        post(std::make_unique<pdu::Message_assigned_id>(std::move(pdu)));
    } else {
        request_claim_of(pdu->source_address);
    }
}

void Frame_observer::on_time_elapsed(comm::message::Message& message)
{
    if (request_timer_ < bus_.properties().time_threshold) {
        request_timer_ += dynamic_cast<const comm::message::time_elapsed::Time_elapsed&>(message).elapsed;
    }
}

void Frame_observer::identify_sender(pdu::PDU& pdu) const
{
    pdu.address_holder = bus_.nodes().find_by_address(pdu.source_address);
    if (pdu.address_holder) {
        pdu.source_node = pdu.address_holder->pdu_source.lock();
    }
}

void Frame_observer::track_address_claim(pdu::PDU& pdu)
{
    Claim claim;
    claim.holder = pdu.address_holder;
    find_or_create(claim, name::from_bytes(pdu.data.bytes()));
    pdu.address_holder = claim.named; // empty when there is no room: a stranger, and not the former holder
    if (!claim.named) {
        pdu.source_node = nullptr;
        return;
    }
    move_address(claim, pdu.source_address);
    pdu.source_node = claim.named->pdu_source.lock();
    announce(claim);
}

void Frame_observer::find_or_create(Claim& claim, name::Name claimed_name)
{
    claim.named = bus_.nodes().find_by_name(claimed_name);
    if (!claim.named && bus_.nodes().nodes().size() < node_maximum) {
        claim.named = bus_.create_node(claimed_name);
        claim.is_new = claim.named != nullptr;
    }
}

/// The claimed address goes from its holder to the node that claims it. Who keeps it in the end is between
/// the two: a holder with the better NAME claims it back.
void Frame_observer::move_address(Claim& claim, std::uint32_t source_address)
{
    if (claim.holder && claim.holder != claim.named) {
        claim.holder->source_address = pdu::null_address;
        claim.holder_changed = true;
    }
    if (claim.named->source_address != source_address) {
        claim.named->source_address = source_address;
        claim.named_changed = true;
    }
    if (claim.is_new || claim.holder_changed || claim.named_changed) {
        bus_.nodes().sort();
    }
}

void Frame_observer::announce(const Claim& claim) const
{
    using node::message::Changed_address;
    if (claim.is_new) {
        post(std::make_unique<node::message::Created>(claim.named->name(), claim.named->source_address));
    }
    if (claim.holder_changed) {
        post(std::make_unique<Changed_address>(claim.holder->name(), claim.holder->source_address));
    }
    if (claim.named_changed) {
        post(std::make_unique<Changed_address>(claim.named->name(), claim.named->source_address));
    }
}

/// Asks all for their claims, since nobody knows who this is. A few times for each address, and not often: the
/// sender may be one that never claims.
void Frame_observer::request_claim_of(std::uint32_t source_address)
{
    const auto& properties = bus_.properties();
    std::uint32_t& count = request_counts_[source_address & 0xFF];
    if (count >= properties.request_count_maximum || request_timer_ < properties.time_threshold) {
        return;
    }
    ++count;
    request_timer_ = 0;
    if (const auto ecu = bus_.first_ecu()) {
        ecu->transmit(nullptr, request_priority, pdu::pgn::request,
                      pdu::request_payload(pdu::pgn::address_claimed), true);
    }
}

void Frame_observer::post(std::unique_ptr<comm::message::Message> message) const { dispatcher_->post(message); }

} // namespace qv::can_bus::bus
