#pragma once

#include "can/network/ecu/address_claim.h"
#include "can/network/ecu/test_kit.h"

namespace qv::can_bus::test {

/// The NAME of the local ECU; a contender may have a lower or a higher one. Their functions differ.
constexpr name::Name own_name = 0xA000810012E00007;
constexpr name::Name lower_name = 0x2000820012E00007;
constexpr name::Name higher_name = 0xC000820012E00007;

/// One local ECU on a bus, with all that it tells as text.
class Ecu_test : public Frame_test, public node::Bus_port {
protected:
    void SetUp() override
    {
        bus_dispatcher_ = comm::create_dispatcher("bus", false);
        observers_.add(std::make_shared<Frame_entry>(bus_dispatcher_->id(), nodes_, [this](name::Name node_name) {
            nodes_.append(node::Node::create(node_name, *this));
            return nodes_.nodes().back();
        }));
        create_ecu();
    }
    /// In the place of the one before, if there is one.
    void create_ecu(name::Name ecu_name = own_name)
    {
        ears_.clear();
        ecu_.reset();
        watch_frames();
        ecu_ = ecu::ECU::create(ecu_name, properties_, {nodes_, bus_dispatcher_->id(), hears_itself_, nullptr});
        ASSERT_TRUE(ecu_);
        using namespace ecu::message;
        listen(ecu_->dispatcher(),
               {Acknowledgment::id, address::Changed::id, address::Claimed::id, address::Lost_claim::id,
                Function_instance_conflict::id, ecu::message::tp::tx::Current_state::id,
                ecu::message::tp::tx::Transferred::id},
               [this](auto& message) { note(message); });
    }
    void TearDown() override
    {
        ears_.clear();
        observers_.clear();
        ecu_.reset();
    }
    void drain() override
    {
        while (bus_dispatcher_->has_queued() || (ecu_ && ecu_->dispatcher() && ecu_->dispatcher()->has_queued())) {
            bus_dispatcher_->process_queue();
            if (ecu_ && ecu_->dispatcher()) {
                ecu_->dispatcher()->process_queue();
            }
        }
    }
    template <class Message_type, class... Arguments> void tell(Arguments&&... arguments)
    {
        ecu_->dispatcher()->post(std::make_unique<Message_type>(std::forward<Arguments>(arguments)...));
        drain();
    }
    void start_claim(std::uint32_t address) { tell<ecu::message::address::Start_claim>(address); }
    /// Claims `address`, lets the time for it pass and forgets what was sent and told.
    void hold(std::uint32_t address)
    {
        Frame_test::hold(*ecu_, address);
        told();
    }
    void claim(std::uint32_t address, name::Name node_name) { receive(claim_text(address, node_name)); }
    /// What the ECU told since the last call.
    Texts told() { return std::exchange(told_, {}); }

    comm::Dispatcher_id dispatcher_id() const override { return bus_dispatcher_->id(); }
    bool detail_manager_enabled() const override { return true; }
    bool can_request() const override { return false; }
    void request(std::uint32_t, const std::shared_ptr<node::Node>&) override {}

    bool hears_itself_ = true;
    ecu::properties::Properties properties_;
    node::Table nodes_;
    comm::observer::Observer_list observers_;
    std::shared_ptr<ecu::ECU> ecu_;

private:
    void note(comm::message::Message& message)
    {
        using namespace ecu::message;
        const auto number = [](std::uint32_t value) { return std::to_string(value).insert(0, 1, ' '); };
        EXPECT_EQ(dynamic_cast<ECU_message&>(message).ecu, ecu_);
        if (const auto* acknowledgment = dynamic_cast<Acknowledgment*>(&message)) {
            const auto& content = acknowledgment->content;
            told_.push_back("acknowledgment" + number(content.control) + number(content.group_function) +
                            number(content.address) + number(content.pgn));
        } else if (const auto* changed = dynamic_cast<address::Changed*>(&message)) {
            told_.push_back("changed" + number(changed->wanted_address));
        } else if (dynamic_cast<address::Claimed*>(&message) != nullptr) {
            told_.push_back("claimed");
        } else if (const auto* lost = dynamic_cast<address::Lost_claim*>(&message)) {
            told_.push_back("lost" + number(lost->lost_address));
        } else if (const auto* conflict = dynamic_cast<Function_instance_conflict*>(&message)) {
            told_.push_back("conflict" + number(conflict->on_bus ? 1 : 0));
        } else if (const auto* state = dynamic_cast<ecu::message::tp::tx::Current_state*>(&message)) {
            told_.push_back("state" + number(state->total) + number(state->sent));
        } else {
            told_.push_back("transferred");
        }
    }

    Texts told_;
};

} // namespace qv::can_bus::test
