#pragma once

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "can/hardware/frame_message.h"
#include "can/network/ecu/ecu.h"
#include "can/network/ecu/ecu_message.h"
#include "can/network/node/table.h"
#include "can/network/node/test_kit.h"
#include "can/network/pdu/message_assigned_id.h"
#include "comm/master.h"

namespace qv::can_bus::test {

using Texts = std::vector<std::string>;

/// A frame as text: identifier and bytes.
inline std::string frame_text(const frame::message::Received& frame)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08X", frame.identifier);
    std::string text = digits;
    for (const std::uint8_t byte : frame.data.bytes()) {
        std::snprintf(digits, sizeof digits, " %02X", unsigned{byte});
        text += digits;
    }
    return text;
}

/// Address and NAME as the text of an address claim.
inline std::string claim_text(std::uint32_t address, name::Name node_name)
{
    std::vector<std::uint8_t> bytes;
    for (unsigned shift = 0; shift < 64; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(node_name >> shift));
    }
    return frame_text({bytes, pdu::identifier(6, pdu::pgn::address_claimed, 255, address)});
}

/// Makes PDUs of frames and keeps the node table after address claims: as little of frame dispatch as these
/// tests need.
class Frame_entry final : public comm::observer::Observer_dispatcher_id {
public:
    using Create_node = std::function<std::shared_ptr<node::Node>(name::Name)>;

    Frame_entry(comm::Dispatcher_id id, node::Table& table, Create_node create_node)
        : Observer_dispatcher_id(id)
        , table_(table)
        , create_node_(std::move(create_node))
    {}
    void subscribe() override { add(frame::message::Received::id, &Frame_entry::on_frame_received); }
    void unsubscribe() override { remove(frame::message::Received::id); }

private:
    void on_frame_received(comm::message::Message& message)
    {
        const auto& frame = dynamic_cast<frame::message::Received&>(message);
        auto pdu = std::make_unique<pdu::PDU>(frame.identifier, frame.data);
        pdu->address_holder = table_.find_by_address(pdu->source_address);
        if (pdu->pgn == pdu::pgn::address_claimed && pdu->length == 8) {
            track_claim(*pdu);
        }
        pdu->source_node = pdu->address_holder ? pdu->address_holder->pdu_source.lock() : nullptr;
        comm::post_to(dispatcher_id(), std::make_unique<pdu::Message_assigned_id>(std::move(pdu)));
    }
    void track_claim(pdu::PDU& pdu)
    {
        const name::Name node_name = name::from_bytes(pdu.data.bytes());
        auto node = table_.find_by_name(node_name);
        if (!node) {
            node = create_node_(node_name);
        }
        if (pdu.address_holder) {
            pdu.address_holder->source_address = pdu::null_address;
        }
        node->source_address = pdu.source_address;
        table_.sort();
        pdu.address_holder = std::move(node);
    }

    node::Table& table_;
    Create_node create_node_;
};

/// A network of nodes around the code under test: frames go in and come out as text.
class Frame_test : public Network_test {
protected:
    /// Notes what leaves; call it once the bus's dispatcher is there.
    void watch_frames()
    {
        listen(bus_dispatcher_, {frame::message::Transmitted::id}, [this](auto& message) {
            const auto& frame = dynamic_cast<frame::message::Transmitted&>(message);
            EXPECT_EQ(frame.destination,
                      pdu::is_pdu1(frame.identifier >> 8) ? (frame.identifier >> 8 & 0xFF) : frame.destination);
            frames_.push_back(frame_text(frame));
        });
    }
    /// "18EA80FE 00 EE 00" comes from the bus.
    void receive(const std::string& text)
    {
        queue(text);
        drain();
    }
    /// The same, and the next frame comes before anybody looks at this one.
    void queue(const std::string& text)
    {
        const auto identifier = static_cast<std::uint32_t>(std::stoul(text.substr(0, 8), nullptr, 16));
        const Byte_array data = hex(text.size() > 9 ? text.substr(9) : "");
        bus_dispatcher_->post(std::make_unique<frame::message::Received>(data.bytes(), identifier));
    }
    void receive_each(const Texts& frames)
    {
        std::ranges::for_each(frames, [this](const std::string& frame) { receive(frame); });
    }
    /// What left since the last call.
    Texts sent() { return std::exchange(frames_, {}); }
    /// These frames, and no others, left since the last call and in the time that passes now.
    void after(std::uint32_t milliseconds, const Texts& frames)
    {
        pass(milliseconds);
        EXPECT_EQ(sent(), frames) << "after " << milliseconds << " ms";
    }

    /// The ECU claims `address`; the time for it passes, and what was sent is forgotten.
    void hold(ecu::ECU& ecu, std::uint32_t address)
    {
        ecu.dispatcher()->post(std::make_unique<ecu::message::address::Start_claim>(address));
        drain();
        pass_each({1, 270, 270});
        ASSERT_TRUE(ecu.is_claimed());
        sent();
    }

private:
    Texts frames_;
};

} // namespace qv::can_bus::test
