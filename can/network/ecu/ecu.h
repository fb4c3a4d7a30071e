#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <utility>

#include "can/network/ecu/functionality.h"
#include "can/network/ecu/properties.h"
#include "can/network/node/table.h"
#include "can/network/node/trouble_code.h"
#include "can/network/tp/ecu_port.h"
#include "comm/dispatcher.h"
#include "comm/observer.h"
#include "framework/byte_array.h"

namespace qv::can_bus::data_supplier {
class Data_supplier;
} // namespace qv::can_bus::data_supplier

namespace qv::can_bus::pdu::request_processor {
class Request_processor;
} // namespace qv::can_bus::pdu::request_processor

namespace qv::can_bus::tp::manager {
class Manager;
} // namespace qv::can_bus::tp::manager

namespace qv::can_bus::ecu {

class PDU_processor;

namespace address_claim::handler {
class Handler;
} // namespace address_claim::handler

/// What an ECU needs of its bus. It is used until the ECU is closed, and the bus closes its ECUs before it goes.
struct Bus_context {
    node::Table& nodes;
    comm::dispatcher::Dispatcher_id dispatcher_id;  ///< the bus's dispatcher
    bool receive_transmitted_messages;              ///< the stack hears what it sends
    std::shared_ptr<thread::signal::Signal> signal; ///< wakes the bus thread; may be empty
};

/// One local control function: owns a NAME, claims an address, and is the way of every PDU to the bus.
///
/// Thread: the bus thread. Held by `std::shared_ptr`, also by its messages, which any thread may hold, and so at
/// times longer than the bus lives. The bus closes it when it takes it from its list, or goes; after that it is
/// a shell that neither sends nor hears anything.
class ECU final : public tp::Ecu_port, public std::enable_shared_from_this<ECU> {
public:
    static constexpr std::size_t frame_size_maximum = 8;

    /// Empty when a step of the construction fails, first of all when another dispatcher has the name of the
    /// ECU's, which is its `model_name`.
    static std::shared_ptr<ECU> create(name::Name ecu_name, const properties::Properties& properties,
                                       const Bus_context& bus);
    ~ECU() override;
    /// Falls silent, ends its sessions without a frame, and gives up its dispatchers with all that they hold.
    /// A handler of its PDUs may call it, a handler on the ECU's own dispatcher may not.
    void close();

    name::Name name() const noexcept { return name_; }
    const properties::Properties& properties() const noexcept { return properties_; }
    address_claim::handler::Handler& handler() noexcept { return *handler_; }
    /// What the ECU answers when it is asked for its functionalities; empty unless the application adds some.
    Functionality_list& functionalities() noexcept { return functionalities_; }
    /// Its own trouble codes; a peer may ask for them, and may clear those that are no longer active.
    diagnostic::trouble_code::Manager& trouble_codes() noexcept { return trouble_codes_; }
    /// Whether the address is held: only then anything but claims and requests for claims may be sent.
    bool is_claimed() const noexcept;

    /// Sends one frame of up to 8 bytes to `destination`, or to all when that is empty. A longer payload is
    /// refused. Without `force` nothing leaves while no address is held. `priority` is 0 to 7, 0 the highest.
    void transmit(const std::shared_ptr<node::Node>& destination, std::uint32_t priority, std::uint32_t pgn,
                  std::span<const std::uint8_t> payload, bool force);
    /// Sends a payload of any length, beyond 8 bytes by a transport protocol, which has a priority of its
    /// own. `supplier` may produce its bytes and comes back in `Transferred`. An empty pointer sends nothing,
    /// and nothing leaves while no address is held, nor when the transport refuses it: see `tp::manager::send`.
    void send_with_transport(const std::shared_ptr<node::Node>& destination, std::uint32_t priority,
                             std::uint32_t pgn, std::unique_ptr<Byte_array> payload,
                             std::shared_ptr<data_supplier::Data_supplier> supplier = nullptr);
    /// The same for a copy of `payload`.
    void send_with_transport(const std::shared_ptr<node::Node>& destination, std::uint32_t priority,
                             std::uint32_t pgn, std::span<const std::uint8_t> payload);
    /// Ends the send of this supplier, if it runs or waits; it comes back as failed.
    void withdraw(const data_supplier::Data_supplier& supplier);
    /// Sends up to 255 bytes as an NMEA 2000 fast packet with the sequence number 0 to 7; up to 8 bytes go
    /// as a plain frame, and more than 255 not at all.
    void send_fast_packet(const std::shared_ptr<node::Node>& destination, std::uint32_t priority,
                          std::uint32_t pgn, std::uint32_t sequence, std::span<const std::uint8_t> payload);
    /// The 8 NAME bytes to all, when the claim state allows it.
    void send_address_claim();

    // tp::Ecu_port
    void transmit(const std::shared_ptr<node::Node>& destination, std::uint32_t pgn,
                  std::span<const std::uint8_t> bytes) override;
    const tp::Limits& limits() const override { return properties_.tp; }
    std::uint32_t source_address() const override { return source_address_; }
    comm::dispatcher::Dispatcher_id dispatcher_id() const override;
    comm::dispatcher::Dispatcher_id pdu_dispatcher_id() const override;
    comm::dispatcher::Dispatcher_id bus_dispatcher_id() const override { return bus_.dispatcher_id; }
    void transferred(std::shared_ptr<tp::tx::TP> session) override;

    /// Posts a `Message_type` of this ECU, made from the further arguments, to the ECU's dispatcher.
    template <class Message_type, class... Arguments> void report(Arguments&&... arguments)
    {
        if (dispatcher_) {
            dispatcher_->post(
                std::make_unique<Message_type>(shared_from_this(), std::forward<Arguments>(arguments)...));
        }
    }

    /// The dispatcher on which requests arrive by the requested PGN.
    comm::dispatcher::Dispatcher_id request_dispatcher_id() const;
    /// The ECU's own dispatcher, which the bus thread drains; empty once the ECU is closed.
    const std::shared_ptr<comm::dispatcher::Dispatcher>& dispatcher() const noexcept { return dispatcher_; }
    /// These two are there until the ECU is closed.
    tp::manager::Manager& transport() noexcept { return *transport_; }
    node::Table& nodes() noexcept { return bus_.nodes; }
    void set_source_address(std::uint32_t address) noexcept { source_address_ = address; }

private:
    ECU(name::Name ecu_name, const properties::Properties& properties, const Bus_context& bus);
    bool construct();
    bool construct_dispatchers();
    void construct_observers();
    bool is_own_address(std::uint32_t address) const noexcept;
    void on_time_elapsed(comm::message::Message& message);

    std::shared_ptr<address_claim::handler::Handler> handler_;
    Bus_context bus_;
    std::uint32_t source_address_ = pdu::null_address; ///< the address it transmits from
    name::Name name_;
    std::shared_ptr<comm::dispatcher::Dispatcher> dispatcher_;
    std::unique_ptr<PDU_processor> pdu_processor_;
    std::shared_ptr<pdu::request_processor::Request_processor> request_processor_;
    std::shared_ptr<tp::manager::Manager> transport_;
    Functionality_list functionalities_;
    diagnostic::trouble_code::Manager trouble_codes_;
    properties::Properties properties_;
    comm::observer::Observer_list observers_;
};

} // namespace qv::can_bus::ecu
