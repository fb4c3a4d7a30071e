#include "can/network/ecu/ecu.h"

#include <algorithm>
#include <array>
#include <string>

#include "can/hardware/frame_message.h"
#include "can/network/ecu/address_claim.h"
#include "can/network/ecu/ecu_message.h"
#include "can/network/ecu/observer.h"
#include "can/network/ecu/pdu_observer.h"
#include "can/network/ecu/pdu_processor.h"
#include "can/network/ecu/pdu_request_observer.h"
#include "can/network/pdu/request_processor.h"
#include "can/network/tp/manager.h"
#include "comm/broker.h"
#include "comm/master.h"
#include "comm/time_message.h"

namespace qv::can_bus::ecu {

namespace {

using comm::message::time_elapsed::Time_elapsed;
using pdu::request_processor::Request_processor;
using Frame = std::array<std::uint8_t, ECU::frame_size_maximum>;

constexpr std::uint32_t claim_priority = 6;
constexpr std::uint32_t transport_priority = 6;

constexpr std::size_t fast_packet_maximum = 255;
constexpr std::size_t fast_packet_first = 6; ///< payload bytes in the first frame
constexpr std::size_t fast_packet_later = 7; ///< payload bytes in each later frame

/// One frame of a fast packet. The index has 5 bits: it begins again at 0 in a packet of more than 223 bytes,
/// which is the limit of NMEA 2000.
Frame fast_packet_frame(std::uint32_t sequence, std::size_t index, std::span<const std::uint8_t> payload)
{
    Frame frame;
    frame.fill(0xFF);
    frame[0] = static_cast<std::uint8_t>(sequence << 5 | (index & 0x1F));
    if (index == 0) {
        frame[1] = static_cast<std::uint8_t>(payload.size());
        std::ranges::copy(payload.first(fast_packet_first), frame.begin() + 2);
    } else {
        const std::size_t start = fast_packet_first + (index - 1) * fast_packet_later;
        const std::size_t count = std::min(fast_packet_later, payload.size() - start);
        std::ranges::copy(payload.subspan(start, count), frame.begin() + 1);
    }
    return frame;
}

} // namespace

std::shared_ptr<ECU> ECU::create(name::Name ecu_name, const properties::Properties& properties,
                                 const Bus_context& bus)
{
    std::shared_ptr<ECU> ecu(new ECU(ecu_name, properties, bus));
    return ecu->construct() ? ecu : nullptr;
}

ECU::ECU(name::Name ecu_name, const properties::Properties& properties, const Bus_context& bus)
    : handler_(std::make_shared<address_claim::handler::Handler>(*this))
    , bus_(bus)
    , name_(ecu_name)
    , properties_(properties)
{}

bool ECU::construct()
{
    if (!construct_dispatchers()) {
        return false;
    }
    construct_observers();
    return true;
}

bool ECU::construct_dispatchers()
{
    dispatcher_ = comm::create_dispatcher(properties_.model_name, bus_.signal);
    if (!dispatcher_) {
        return false;
    }
    pdu_processor_ = PDU_processor::create(*this, properties_.model_name + " pdu");
    if (!pdu_processor_) {
        return false;
    }
    request_processor_ = Request_processor::create(pdu_dispatcher_id(), properties_.model_name + " request");
    return request_processor_ != nullptr;
}

void ECU::construct_observers()
{
    transport_ = std::make_shared<tp::manager::Manager>(*this);
    observers_.add(request_processor_);
    observers_.add(transport_);
    observers_.add(std::make_shared<PDU_observer>(*this));
    observers_.add(std::make_shared<PDU_request_observer>(*this));
    observers_.add(comm::observer::make_broker<Time_elapsed>(this, &ECU::on_time_elapsed, dispatcher_id(),
                                                             comm::observer::Route::from_primary));
    observers_.add(std::make_shared<Observer>(*this));
}

ECU::~ECU() { close(); }

/// The queued messages of the ECU hold it, and it holds their queue: letting the dispatcher go is what ends
/// this circle.
void ECU::close()
{
    handler_->stop();
    observers_.clear();
    transport_.reset();
    request_processor_.reset();
    pdu_processor_.reset();
    const auto dispatcher = std::move(dispatcher_);
    comm::remove_dispatcher(dispatcher);
}

bool ECU::is_claimed() const noexcept { return handler_->is_claimed(); }

comm::dispatcher::Dispatcher_id ECU::dispatcher_id() const { return dispatcher_ ? dispatcher_->id() : 0; }

comm::dispatcher::Dispatcher_id ECU::pdu_dispatcher_id() const
{
    return pdu_processor_ ? pdu_processor_->dispatcher_id() : 0;
}

comm::dispatcher::Dispatcher_id ECU::request_dispatcher_id() const
{
    return request_processor_ ? request_processor_->request_dispatcher_id() : 0;
}

void ECU::on_time_elapsed(comm::message::Message& message)
{
    handler_->on_time_elapsed(static_cast<const Time_elapsed&>(message).elapsed); // the broker tested the type
}

void ECU::transmit(const std::shared_ptr<node::Node>& destination, std::uint32_t priority, std::uint32_t pgn,
                   std::span<const std::uint8_t> payload, bool force)
{
    if (!dispatcher_ || payload.size() > frame_size_maximum || !(force || is_claimed())) {
        return; // `dispatcher_` is empty once the ECU is closed
    }
    const std::uint32_t address = destination ? destination->source_address : pdu::global_address;
    const std::uint32_t identifier = pdu::identifier(priority & 7, pgn, address, source_address_);
    if (!(bus_.receive_transmitted_messages && is_own_address(address))) {
        comm::post_to(bus_.dispatcher_id, std::make_unique<frame::message::Transmitted>(
                                              payload, identifier, static_cast<std::uint8_t>(address)));
    }
    if (bus_.receive_transmitted_messages) {
        comm::post_to(bus_.dispatcher_id, std::make_unique<frame::message::Received>(payload, identifier));
    }
}

bool ECU::is_own_address(std::uint32_t address) const noexcept
{
    return address == source_address_ && address != pdu::null_address && address != pdu::global_address;
}

void ECU::transmit(const std::shared_ptr<node::Node>& destination, std::uint32_t pgn,
                   std::span<const std::uint8_t> bytes)
{
    transmit(destination, transport_priority, pgn, bytes, false);
}

void ECU::send_with_transport(const std::shared_ptr<node::Node>& destination, std::uint32_t priority,
                              std::uint32_t pgn, std::unique_ptr<Byte_array> payload,
                              std::shared_ptr<data_supplier::Data_supplier> supplier)
{
    if (!payload || !is_claimed()) {
        return;
    }
    const std::uint32_t size = payload->size();
    if (size <= frame_size_maximum) {
        transmit(destination, priority, pgn, payload->bytes(), false);
    } else {
        transport_->send(std::move(supplier), pgn, std::move(payload), size, destination);
    }
}

void ECU::send_with_transport(const std::shared_ptr<node::Node>& destination, std::uint32_t priority,
                              std::uint32_t pgn, std::span<const std::uint8_t> payload)
{
    auto copy = std::make_unique<Byte_array>(payload);
    if (copy->size() == payload.size()) { // else there was no memory for it
        send_with_transport(destination, priority, pgn, std::move(copy));
    }
}

void ECU::withdraw(const data_supplier::Data_supplier& supplier)
{
    if (transport_) {
        transport_->withdraw(supplier);
    }
}

void ECU::send_fast_packet(const std::shared_ptr<node::Node>& destination, std::uint32_t priority,
                           std::uint32_t pgn, std::uint32_t sequence, std::span<const std::uint8_t> payload)
{
    if (payload.size() <= frame_size_maximum) {
        transmit(destination, priority, pgn, payload, false);
        return;
    }
    if (payload.size() > fast_packet_maximum) {
        return;
    }
    const std::size_t later = payload.size() - fast_packet_first;
    const std::size_t frames = 1 + (later + fast_packet_later - 1) / fast_packet_later;
    for (std::size_t index = 0; index < frames; ++index) {
        transmit(destination, priority, pgn, fast_packet_frame(sequence & 7, index, payload), false);
    }
}

/// Passes the claim gate by itself: a claim leaves as soon as the address is wanted in earnest, and also to
/// say that none could be claimed [ISO 11783-5 4.4.2].
void ECU::send_address_claim()
{
    using State = address_claim::handler::Handler::State;
    const State state = handler_->state();
    if (state != State::claiming && state != State::claimed && state != State::lost) {
        return;
    }
    Frame bytes;
    for (unsigned index = 0; index < bytes.size(); ++index) {
        bytes[index] = static_cast<std::uint8_t>(name_ >> (8 * index));
    }
    transmit(nullptr, claim_priority, pdu::pgn::address_claimed, bytes, true);
}

void ECU::transferred(std::shared_ptr<tp::tx::TP> session)
{
    report<message::tp::tx::Transferred>(std::move(session));
}

} // namespace qv::can_bus::ecu
