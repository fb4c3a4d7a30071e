#include "can/network/bus.h"

#include <algorithm>
#include <utility>

#include "can/network/bus_observer.h"
#include "can/network/nmea_2000/pdu_observer.h"
#include "can/network/node/manager.h"
#include "can/network/pdu/request_processor.h"
#include "can/network/pdu_observer.h"
#include "can/network/pdu_processor.h"
#include "can/network/tp/rx_bam_manager.h"
#include "can/network/working_set/pdu_observer.h"
#include "comm/master.h"

namespace qv::can_bus::bus {

namespace {

using pdu::request_processor::Request_processor;

constexpr std::uint32_t request_priority = 6;

} // namespace

std::unique_ptr<Bus> Bus::create(const properties::Properties& properties,
                                 std::shared_ptr<thread::signal::Signal> signal,
                                 const Frame_entry_factory& frame_entry)
{
    std::unique_ptr<Bus> bus(new Bus(properties, std::move(signal)));
    return bus->construct(frame_entry) ? std::move(bus) : nullptr;
}

Bus::Bus(const properties::Properties& properties, std::shared_ptr<thread::signal::Signal> signal)
    : signal_(std::move(signal))
    , log_client_(log::register_client(properties.title))
    , properties_(properties)
{}

bool Bus::construct(const Frame_entry_factory& frame_entry)
{
    dispatcher_ = comm::create_dispatcher(properties_.title, signal_);
    if (!dispatcher_) {
        return false;
    }
    observers_.add(std::make_shared<Observer>(*this));
    return construct_pdu_processor(frame_entry) && construct_pdu_observers();
}

bool Bus::construct_pdu_processor(const Frame_entry_factory& frame_entry)
{
    pdu_processor_ = PDU_processor::create(*this, signal_);
    if (!pdu_processor_) {
        return false;
    }
    if (!frame_entry) {
        return true;
    }
    auto entry = frame_entry(*this);
    const bool entered = entry != nullptr;
    pdu_processor_->set_frame_entry(std::move(entry));
    return entered;
}

bool Bus::construct_pdu_observers()
{
    request_processor_ = Request_processor::create(pdu_dispatcher_id(), properties_.title + " request", signal_);
    if (!request_processor_) {
        return false;
    }
    observers_.add(request_processor_);
    observers_.add(std::make_shared<PDU_observer>(pdu_dispatcher_id(), dispatcher_id()));
    observers_.add(std::make_shared<tp::rx::bam::manager::Manager>(pdu_dispatcher_id(), dispatcher_id()));
    observers_.add(std::make_shared<nmea_2000::PDU_observer>(pdu_dispatcher_id(), dispatcher_id()));
    observers_.add(std::make_shared<working_set::PDU_observer>(pdu_dispatcher_id(), nodes_));
    return true;
}

/// Whoever still holds an ECU or a node afterwards holds one that does nothing any more.
Bus::~Bus()
{
    observers_.clear();
    for (const auto& ecu : ecus_) {
        ecu->close();
    }
    for (const auto& node : nodes_.nodes()) {
        if (node->manager()) {
            node->manager()->stop();
        }
    }
    request_processor_.reset();
    pdu_processor_.reset();
    comm::remove_dispatcher(dispatcher_);
}

comm::dispatcher::Dispatcher_id Bus::dispatcher_id() const { return dispatcher_->id(); }

comm::dispatcher::Dispatcher_id Bus::pdu_dispatcher_id() const { return pdu_processor_->dispatcher()->id(); }

comm::dispatcher::Dispatcher_id Bus::request_dispatcher_id() const
{
    return request_processor_->request_dispatcher_id();
}

std::shared_ptr<node::Node> Bus::create_node(name::Name node_name)
{
    auto node = node::Node::create(node_name, *this);
    if (node) {
        nodes_.append(node);
    }
    return node;
}

std::shared_ptr<ecu::ECU> Bus::first_ecu() const { return ecus_.empty() ? nullptr : ecus_.front(); }

std::shared_ptr<ecu::ECU> Bus::create_ecu(name::Name ecu_name, const ecu::properties::Properties& ecu_properties)
{
    auto ecu = ecu::ECU::create(ecu_name, ecu_properties,
                                {nodes_, dispatcher_id(), properties_.receive_transmitted_messages, signal_});
    if (ecu) {
        ecus_.push_back(ecu);
    }
    return ecu;
}

std::shared_ptr<ecu::ECU> Bus::remove_ecu(name::Name ecu_name)
{
    const auto found = std::ranges::find(ecus_, ecu_name, &ecu::ECU::name);
    if (found == ecus_.end()) {
        return nullptr;
    }
    auto ecu = *found;
    ecus_.erase(found);
    ecu->close();
    return ecu;
}

bool Bus::can_request() const { return !ecus_.empty() && ecus_.front()->is_claimed(); }

/// ISO 11783-3 5.4.2.
void Bus::request(std::uint32_t pgn, const std::shared_ptr<node::Node>& node)
{
    if (const auto ecu = first_ecu()) {
        ecu->transmit(node, request_priority, pdu::pgn::request, pdu::request_payload(pgn), false);
    }
}

} // namespace qv::can_bus::bus
