#pragma once

#include <cstdio>
#include <functional>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "can/network/pdu/message_assigned_id.h"
#include "can/network/tp/manager.h"
#include "can/network/tp/rx_bam_manager.h"
#include "can/network/tp/rx_fast_packet_manager.h"
#include "comm/broker.h"
#include "comm/master.h"
#include "comm/time_message.h"
#include "framework/byte_text.h"

namespace qv::can_bus::tp {

using Lines = std::vector<std::string>;
using Peer = std::shared_ptr<node::Node>;

/// printf into a string.
template <class... Values> std::string print(const char* format, Values... values)
{
    char text[40];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

inline std::uint32_t value(const std::string& text, int base = 10)
{
    return static_cast<std::uint32_t>(std::stoul(text, nullptr, base));
}

inline Byte_array bytes_of(const std::string& text)
{
    std::istringstream words(text);
    std::vector<std::uint8_t> bytes;
    for (unsigned byte = 0; words >> std::hex >> byte;) {
        bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    return Byte_array(bytes);
}

/// 1, 2, 3 ... as the payload of a message.
inline std::vector<std::uint8_t> counting(std::size_t size, std::size_t first = 1)
{
    std::vector<std::uint8_t> bytes(size);
    std::iota(bytes.begin(), bytes.end(), static_cast<std::uint8_t>(first));
    return bytes;
}

inline std::string hex(std::span<const std::uint8_t> bytes)
{
    return bytes.empty()
               ? ""
               : to_hex_text(Byte_array_fix(bytes), all_bytes, {.uppercase = true, .spaced = true}).substr(1);
}

inline std::string repeat(int count, const std::string& script)
{
    return count == 0 ? "" : script + repeat(count - 1, script);
}

/// Writes out "#15" and "#3-5@2"; the latter becomes three lines.
inline Lines unfold(const std::string& text)
{
    unsigned first = 0;
    unsigned last = 0;
    unsigned offset = 0;
    const auto head = text.substr(0, text.find('#'));
    if (std::sscanf(text.c_str() + head.size(), "#%u-%u@%u", &first, &last, &offset) < 2) {
        return {first == 0 ? text : head + hex(counting(first))};
    }
    Lines lines;
    for (; first <= last; ++first) {
        lines.push_back(head + print("%02X ", (first - offset) & 0xFF) + hex(counting(7, 7 * first - 6)));
    }
    return lines;
}

/// A local ECU at 0x21 with all three managers, over a real comm core, and its peers a (0x80) and b (0x81).
///
/// A script has one step between two semicolons. What happens:
///   send 15 a               the ECU sends the bytes 1 to 15, group FECA; `all` is a broadcast
///   a EC00 11 03 ...        a sends a frame of this group to the ECU; `?` is a sender whom nobody knows
///   a all EC00 20 09 ...    to all
///   a EB00 #3-5             the packets 3 to 5 of the message 1, 2, 3 ...; #3-5@2 counts behind an offset of 2
///   flood 99 all EC00 20 .. 99 peers at 0x90 send it, each once
///   +1255                   milliseconds pass
/// What must have come of it, in this order; anything else fails the test, so silence needs no step:
///   = EC00>80 10 0F ...     the ECU has sent this frame; #3-5 as above
///   heard FECA 80>FE ...    this message was delivered; #15 are the bytes 1 to 15
///   ended +                 a send has ended, well or (-) not
class Transport_test : public testing::Test, public Ecu_port, public node::Bus_port {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(comm::core_start(0));
        for (const char* name : {"ecu", "pdu", "bus"}) {
            dispatchers_.push_back(comm::create_dispatcher(name, false));
        }
        manager_ = std::make_shared<manager::Manager>(*this);
        fast_packets_ = std::make_shared<rx::fast_packet::Manager>(bus_dispatcher_id());
        observers_.add(comm::observer::make_broker<pdu::Message_assigned_id>(this, &Transport_test::on_pdu_message,
                                                                             bus_dispatcher_id()));
        observers_.add(manager_);
        observers_.add(fast_packets_);
        observers_.add(std::make_shared<rx::bam::manager::Manager>(pdu_dispatcher_id(), bus_dispatcher_id()));
        a_ = peer(0x80);
        b_ = peer(0x81);
    }

    void TearDown() override
    {
        observers_.clear();
        for (const auto& dispatcher : dispatchers_) {
            comm::remove_dispatcher(dispatcher);
        }
        comm::master_stop();
    }

    void run(const std::string& script)
    {
        std::istringstream steps(script);
        for (std::string text; std::getline(steps >> std::ws, text, ';');) {
            SCOPED_TRACE(text);
            step(text);
        }
        EXPECT_EQ(came_, Lines{}) << "behind " << script;
    }

    Peer peer(std::uint32_t address)
    {
        auto node = node::Node::create(address, *this);
        node->source_address = address;
        return node;
    }

    void send_frame(const Peer& sender, const std::string& text)
    {
        const bool global = text.starts_with("all ");
        const auto group = text.substr(global ? 4 : 0);
        for (const auto& bytes : unfold(group.substr(group.find(' ') + 1))) {
            const auto identifier = pdu::identifier(6, value(group, 16), global ? 0xFF : 0x21, 0x80);
            pdu::PDU pdu(identifier, bytes_of(bytes));
            pdu.source_node = sender ? sender->pdu_source.lock() : nullptr;
            pdu.address_holder = sender;
            dispatchers_[1]->notify(pdu);
            if (pdu.pgn == 0x1F805) {
                fast_packets_->on_frame(pdu);
            }
        }
    }

    bool send(std::uint32_t size, const Peer& destination,
              std::shared_ptr<data_supplier::Data_supplier> supplier = nullptr)
    {
        return manager_->send(std::move(supplier), 0xFECA, std::make_unique<Byte_array>(counting(size)), size,
                              destination);
    }

    void transmit(const Peer& destination, std::uint32_t pgn, std::span<const std::uint8_t> bytes) override
    {
        came_.push_back(print("%04X>%02X ", pgn, destination ? destination->source_address : 255) + hex(bytes));
    }
    const Limits& limits() const override { return limits_; }
    std::uint32_t source_address() const override { return 0x21; }
    comm::Dispatcher_id dispatcher_id() const override { return dispatchers_[0]->id(); }
    comm::Dispatcher_id pdu_dispatcher_id() const override { return dispatchers_[1]->id(); }
    comm::Dispatcher_id bus_dispatcher_id() const override { return dispatchers_[2]->id(); }
    void transferred(std::shared_ptr<tx::TP> session) override
    {
        came_.push_back(session->success() ? "ended +" : "ended -");
    }

    bool detail_manager_enabled() const override { return false; }
    bool can_request() const override { return false; }
    void request(std::uint32_t, const Peer&) override {}

    Limits limits_;
    std::vector<std::shared_ptr<comm::Dispatcher>> dispatchers_; ///< of the ECU, its PDUs, the bus
    std::shared_ptr<manager::Manager> manager_;
    std::shared_ptr<rx::fast_packet::Manager> fast_packets_;
    comm::observer::Observer_list observers_;
    Peer a_;
    Peer b_;
    std::vector<Peer> strangers_;
    Lines came_;                     ///< what came of it and was not looked at yet
    std::function<void()> reaction_; ///< to each message heard; may be empty

private:
    void step(const std::string& text)
    {
        std::istringstream words(text);
        std::string verb;
        std::string object;
        std::string rest;
        std::getline(words >> verb >> object >> std::ws, rest);
        const auto who = [this](const std::string& name) { return name == "a" ? a_ : name == "b" ? b_ : nullptr; };
        if (verb == "=" || verb == "heard" || verb == "ended") {
            return expect(unfold(verb == "=" ? text.substr(2) : text));
        }
        EXPECT_EQ(came_, Lines{});
        if (verb[0] == '+') {
            pass(value(verb));
        } else if (verb == "send") {
            EXPECT_TRUE(send(value(object), who(rest)));
        } else if (verb == "flood") {
            for (auto count = value(object); count > 0; --count) {
                strangers_.push_back(peer(0x90));
                send_frame(strangers_.back(), rest);
            }
        } else {
            send_frame(who(verb), object + " " + rest);
        }
    }

    void expect(const Lines& wanted)
    {
        const auto count = static_cast<std::ptrdiff_t>(std::min(came_.size(), wanted.size()));
        EXPECT_EQ(Lines(came_.begin(), came_.begin() + count), wanted);
        came_.erase(came_.begin(), came_.begin() + count);
    }

    void pass(std::uint32_t milliseconds)
    {
        comm::message::time_elapsed::Time_elapsed elapsed(milliseconds);
        dispatchers_[0]->notify(elapsed);
        dispatchers_[2]->notify(elapsed);
        dispatchers_[2]->process_queue();
    }

    void on_pdu_message(comm::message::Message& message)
    {
        const auto& pdu = *dynamic_cast<pdu::Message_assigned_id&>(message).pdu;
        EXPECT_EQ(pdu.length, pdu.data.size());
        EXPECT_TRUE(pdu.source_node && pdu.source_node == pdu.address_holder->pdu_source.lock());
        came_.push_back(print("heard %04X %02X>%02X ", pdu.pgn, pdu.source_address, pdu.destination_address) +
                        (pdu.global ? "global " : "") + hex(pdu.data.bytes()));
        if (reaction_) {
            reaction_();
        }
    }
};

/// A family of scripts. A name is a sentence with the test suite's before it.
struct Script {
    const char* name;
    std::string steps;
};

class Script_test : public Transport_test, public testing::WithParamInterface<Script> {};

inline std::string script_name(const testing::TestParamInfo<Script>& row) { return row.param.name; }

} // namespace qv::can_bus::tp
