#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "can/network/bus_properties.h"
#include "can/network/ecu/ecu.h"
#include "can/network/node/table.h"
#include "comm/dispatcher.h"
#include "comm/observer.h"
#include "framework/log/hook.h"

namespace qv::can_bus::bus {

class PDU_processor;

/// The root of the stack on one CAN bus: its dispatchers, the nodes seen on it and the local ECUs.
///
/// Thread: the bus thread makes it, uses it and destroys it; requests come in by message.
class Bus final : public node::Bus_port {
public:
    /// Makes the observer through which frames become PDUs; it works on the bus's dispatcher. It lives with
    /// the bus, which outlives it.
    using Frame_entry_factory = std::function<std::shared_ptr<comm::observer::Observer>(Bus&)>;

    /// Empty when a step fails: a name of a dispatcher is in use, or the factory gives nothing. `signal`,
    /// which may be empty, is raised by a post to any of the bus's dispatchers. Without a factory no frame
    /// is heard.
    static std::unique_ptr<Bus> create(const properties::Properties& properties,
                                       std::shared_ptr<thread::signal::Signal> signal,
                                       const Frame_entry_factory& frame_entry);
    ~Bus() override;
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    const properties::Properties& properties() const noexcept { return properties_; }
    log::Client log_client() const noexcept { return log_client_; }
    /// The dispatcher that the bus thread drains: frames, envelopes, requests to the bus.
    const std::shared_ptr<comm::dispatcher::Dispatcher>& dispatcher() const noexcept { return dispatcher_; }
    /// Where PDUs arrive by parameter group number.
    comm::dispatcher::Dispatcher_id pdu_dispatcher_id() const;
    /// Where requests arrive by the number of the requested group.
    comm::dispatcher::Dispatcher_id request_dispatcher_id() const;

    node::Table& nodes() noexcept { return nodes_; }
    /// A new node for a NAME that the table does not have yet, appended to the table with address 254. The
    /// caller gives it its address and sorts the table. Empty on failure.
    std::shared_ptr<node::Node> create_node(name::Name node_name);

    const std::vector<std::shared_ptr<ecu::ECU>>& ecus() const noexcept { return ecus_; }
    std::shared_ptr<ecu::ECU> first_ecu() const;
    /// A new local ECU at the end of the list; empty on failure.
    std::shared_ptr<ecu::ECU> create_ecu(name::Name ecu_name, const ecu::properties::Properties& ecu_properties);
    /// Takes the ECU of this NAME from the list and closes it. Empty when there is none.
    std::shared_ptr<ecu::ECU> remove_ecu(name::Name ecu_name);

    // node::Bus_port
    comm::dispatcher::Dispatcher_id dispatcher_id() const override;
    bool detail_manager_enabled() const override { return properties_.detail_manager_enabled; }
    bool can_request() const override;
    void request(std::uint32_t pgn, const std::shared_ptr<node::Node>& node) override;

private:
    Bus(const properties::Properties& properties, std::shared_ptr<thread::signal::Signal> signal);
    bool construct(const Frame_entry_factory& frame_entry);
    bool construct_pdu_processor(const Frame_entry_factory& frame_entry);
    bool construct_pdu_observers();

    std::shared_ptr<thread::signal::Signal> signal_;
    std::shared_ptr<comm::dispatcher::Dispatcher> dispatcher_;
    node::Table nodes_;
    std::unique_ptr<PDU_processor> pdu_processor_;
    std::shared_ptr<pdu::request_processor::Request_processor> request_processor_;
    log::Client log_client_;
    properties::Properties properties_;
    std::vector<std::shared_ptr<ecu::ECU>> ecus_;
    comm::observer::Observer_list observers_;
};

} // namespace qv::can_bus::bus
