#pragma once

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "can/bus/application.h"
#include "can/network/bus_message.h"
#include "can/network/bus_properties.h"
#include "can/network/ecu/ecu.h"
#include "can/network/ecu/ecu_message.h"
#include "can/network/pdu/pdu.h"
#include "comm/master.h"
#include "config/object.h"
#include "config/primary.h"
#include "framework/file/scratch_folder.h"

namespace qv::can_bus::test {

/// The network layer on a CAN interface with its real threads and one local ECU. Its user asks by message; what
/// the ECU tells and hears waits here until it is fetched. One at a time.
class Network_stack {
public:
    static constexpr name::Name name = 0xA000810012E00007;

    Network_stack(const std::string& interface, const tp::Limits& limits)
    {
        namespace flag = comm::flag;
        configure(interface);
        if (!comm::core_start(0) ||
            !comm::handlers_start("network stack", flag::shutdown | flag::thread_handle | flag::time_tick) ||
            !layer_.init()) {
            throw std::runtime_error("the network layer does not start");
        }
        own_ = comm::create_dispatcher("network stack", false);
        create_ecu(limits);
    }
    ~Network_stack()
    {
        layer_.deinit();
        comm::master_stop();
        config::destroy_primary();
    }
    Network_stack(const Network_stack&) = delete;
    Network_stack& operator=(const Network_stack&) = delete;

    /// What comes of it is told by the messages of the claim.
    void claim(std::uint32_t address) const
    {
        ecu_->dispatcher()->post(std::make_unique<ecu::message::address::Start_claim>(address));
    }
    /// Sends to a control function; a NAME that is not known makes it a broadcast.
    void send(name::Name to, std::uint32_t pgn, const Byte_array& payload) const
    {
        using ecu::message::PDU_transmit;
        ecu_->dispatcher()->post(std::make_unique<PDU_transmit>(ecu_, to, 6, pgn, payload));
    }
    /// Keeps what comes in this group from now on.
    void hear(std::uint32_t pgn) const
    {
        comm::find_dispatcher(ecu_->pdu_dispatcher_id())->add_route(pgn, own_->id());
    }
    /// The next PDU of this group; empty when none comes in the time.
    std::unique_ptr<pdu::PDU> heard(std::uint32_t pgn, std::chrono::seconds limit) const
    {
        return next<pdu::PDU>(pgn, limit);
    }
    /// The next message of this kind that the ECU tells; empty when none comes in the time.
    template <class Message> std::unique_ptr<Message> told(std::chrono::seconds limit) const
    {
        return next<Message>(Message::id, limit);
    }

private:
    void configure(const std::string& interface)
    {
        config::create_primary(folder_ / "settings.xml");
        config::List& document = *config::primary_configuration_pointer();
        const auto hardware = document.find_object("can_bus/hardware", true);
        document.set_text(hardware, "type", "socket can");
        document.set_text(hardware, "device_name", interface.c_str());
        // Its questions would reach the peer between the messages of the user.
        document.set_boolean(document.find_object("can_bus/node/detail_manager", true), "enable", false);
    }
    void create_ecu(const tp::Limits& limits)
    {
        using namespace bus::message;
        namespace told_by_ecu = ecu::message;
        const auto bus = find_bus();
        bus->add_route(ECU_create_response::id, own_->id());
        ecu::properties::Properties properties;
        properties.tp = limits;
        bus->post(std::make_unique<ECU_create>(name, properties));
        const auto response = told<ECU_create_response>(std::chrono::seconds(10));
        if (!response || !response->ecu) {
            throw std::runtime_error("no ECU on the bus");
        }
        ecu_ = response->ecu;
        for (const auto id : {told_by_ecu::address::Changed::id, told_by_ecu::address::Claimed::id,
                              told_by_ecu::address::Lost_claim::id, told_by_ecu::tp::tx::Transferred::id}) {
            ecu_->dispatcher()->add_route(id, own_->id());
        }
    }
    /// The bus thread makes it soon after its start.
    static std::shared_ptr<comm::Dispatcher> find_bus()
    {
        for (int round = 0; round < 10000; ++round) {
            if (const auto bus = comm::find_dispatcher_by_name(bus::properties::title_default)) {
                return bus;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        throw std::runtime_error("the bus thread makes no bus");
    }
    template <class Message> std::unique_ptr<Message> next(comm::message::Id id, std::chrono::seconds limit) const
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        std::unique_ptr<comm::message::Message> message;
        while (!(message = own_->take(id)) && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return std::unique_ptr<Message>(dynamic_cast<Message*>(message.release()));
    }

    const file::test::Scratch_folder folder_;
    application::Application layer_{nullptr};
    std::shared_ptr<comm::Dispatcher> own_; ///< where the routes end
    std::shared_ptr<ecu::ECU> ecu_;
};

} // namespace qv::can_bus::test
