#pragma once

#include <cstdio>
#include <functional>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "can/network/pdu/message_assigned_id.h"
#include "can/network/tp/ecu_port.h"
#include "comm/master.h"
#include "comm/time_message.h"

/// Test vocabulary of the transport layer: a local ECU at address 0x21 and peers, over a real comm core.
namespace qv::can_bus::tp {

using Frames = std::vector<std::string>;
using Peer = std::shared_ptr<node::Node>;

inline std::string hex(std::span<const std::uint8_t> bytes)
{
    std::string text;
    for (const std::uint8_t byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, text.empty() ? "%02X" : " %02X", unsigned{byte});
        text += digits;
    }
    return text;
}

inline std::string number(const char* format, std::uint32_t value)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, format, value);
    return digits;
}

/// 1, 2, 3 ... as the payload of a message.
inline std::vector<std::uint8_t> counting(std::size_t size)
{
    std::vector<std::uint8_t> bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

class Quiet_bus final : public node::Bus_port {
    comm::Dispatcher_id dispatcher_id() const override { return 0; }
    bool detail_manager_enabled() const override { return false; }
    bool can_request() const override { return false; }
    void request(std::uint32_t, const Peer&) override {}
};

/// The messages that reach the bus's dispatcher, as "FEDA 80>FE 01 02 ...".
class Listener final : public comm::observer::Observer_dispatcher_id {
public:
    using Observer_dispatcher_id::Observer_dispatcher_id;
    void subscribe() override { add(pdu::Message_assigned_id::id, &Listener::on_pdu_message); }
    void unsubscribe() override { remove(pdu::Message_assigned_id::id); }
    Frames heard;
    std::function<void()> reaction;

private:
    void on_pdu_message(comm::message::Message& message)
    {
        const auto& pdu = *dynamic_cast<pdu::Message_assigned_id&>(message).pdu;
        EXPECT_EQ(pdu.length, pdu.data.size());
        EXPECT_TRUE(pdu.source_node && pdu.address_holder);
        heard.push_back(number("%04X ", pdu.pgn) + number("%02X>", pdu.source_address) +
                        number("%02X ", pdu.destination_address) + (pdu.global ? "global " : "") +
                        hex(pdu.data.bytes()));
        if (reaction) {
            reaction();
        }
    }
};

class Transport_test : public testing::Test, public Ecu_port {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(comm::core_start(0));
        ecu_dispatcher_ = comm::create_dispatcher("ecu", false);
        pdu_dispatcher_ = comm::create_dispatcher("pdu", false);
        bus_dispatcher_ = comm::create_dispatcher("bus", false);
        listener_ = std::make_shared<Listener>(bus_dispatcher_->id());
        observers_.add(listener_);
        a_ = peer(0x80);
        b_ = peer(0x81);
    }

    void TearDown() override
    {
        observers_.clear();
        for (const auto& dispatcher : {ecu_dispatcher_, pdu_dispatcher_, bus_dispatcher_}) {
            comm::remove_dispatcher(dispatcher);
        }
        comm::master_stop();
    }

    Peer peer(std::uint32_t address)
    {
        auto node = node::Node::create(address, quiet_bus_);
        node->source_address = address;
        return node;
    }

    /// `sender`, which may be unknown, sends a frame of `pgn` to the ECU, or to all.
    void frame(const Peer& sender, std::uint32_t pgn, const std::string& bytes, std::uint32_t destination = 0x21)
    {
        pdu::PDU pdu(pdu::identifier(6, pgn, destination, 0x80), from_hex(bytes));
        pdu.source_node = sender;
        pdu.address_holder = sender;
        pdu_dispatcher_->notify(pdu);
    }
    void cm(const Peer& sender, const std::string& bytes) { frame(sender, 0xEC00, bytes); }
    void extended_cm(const Peer& sender, const std::string& bytes) { frame(sender, 0xC800, bytes); }

    void pass(std::uint32_t milliseconds)
    {
        comm::message::time_elapsed::Time_elapsed elapsed(milliseconds);
        ecu_dispatcher_->notify(elapsed);
        bus_dispatcher_->notify(elapsed);
    }

    /// What the ECU has sent since the last look, as "EC00>80 10 0F ...".
    Frames sent() { return std::exchange(sent_, {}); }
    /// The messages delivered since the last look.
    Frames heard() { return std::exchange(listener_->heard, {}); }

    static Byte_array from_hex(const std::string& text)
    {
        std::vector<std::uint8_t> bytes;
        for (std::size_t place = 0; place + 2 <= text.size(); place += 3) {
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(place, 2), nullptr, 16)));
        }
        return Byte_array(bytes);
    }

    void transmit(const Peer& destination, std::uint32_t pgn, std::span<const std::uint8_t> bytes) override
    {
        sent_.push_back(number("%04X>", pgn) + number("%02X ", destination ? destination->source_address : 255) +
                        hex(bytes));
    }
    const Limits& limits() const override { return limits_; }
    std::uint32_t source_address() const override { return 0x21; }
    comm::Dispatcher_id dispatcher_id() const override { return ecu_dispatcher_->id(); }
    comm::Dispatcher_id pdu_dispatcher_id() const override { return pdu_dispatcher_->id(); }
    comm::Dispatcher_id bus_dispatcher_id() const override { return bus_dispatcher_->id(); }
    void transferred(std::shared_ptr<tx::TP> session) override { transferred_.push_back(std::move(session)); }

    Quiet_bus quiet_bus_;
    Limits limits_;
    std::shared_ptr<comm::Dispatcher> ecu_dispatcher_;
    std::shared_ptr<comm::Dispatcher> pdu_dispatcher_;
    std::shared_ptr<comm::Dispatcher> bus_dispatcher_;
    std::shared_ptr<Listener> listener_;
    Peer a_; ///< at 0x80
    Peer b_; ///< at 0x81
    comm::observer::Observer_list observers_;
    Frames sent_;
    std::vector<std::shared_ptr<tx::TP>> transferred_;
};

} // namespace qv::can_bus::tp
