#include "can/network/tp/transport_fixture.h"

#include <cstdio>
#include <numeric>
#include <sstream>

#include "can/network/pdu/message_assigned_id.h"
#include "comm/broker.h"
#include "comm/time_message.h"
#include "framework/byte_text.h"

namespace qv::can_bus::tp {

namespace {

std::string number(const char* format, std::size_t value)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, format, static_cast<unsigned>(value));
    return digits;
}

std::uint32_t value(const std::string& text, int base = 10)
{
    return static_cast<std::uint32_t>(std::stoul(text, nullptr, base));
}

Byte_array bytes_of(const std::string& text)
{
    std::istringstream words(text);
    std::vector<std::uint8_t> bytes;
    for (std::string word; words >> word;) {
        bytes.push_back(static_cast<std::uint8_t>(value(word, 16)));
    }
    return Byte_array(bytes);
}

/// Writes out "#15" and "#3-5@2"; the latter becomes three lines.
Lines unfold(const std::string& text)
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
        lines.push_back(head + number("%02X ", (first - offset) & 0xFF) + hex(counting(7, 7 * first - 6)));
    }
    return lines;
}

} // namespace

std::vector<std::uint8_t> counting(std::size_t size, std::size_t first)
{
    std::vector<std::uint8_t> bytes(size);
    std::iota(bytes.begin(), bytes.end(), static_cast<std::uint8_t>(first));
    return bytes;
}

std::string hex(std::span<const std::uint8_t> bytes)
{
    return bytes.empty()
               ? ""
               : to_hex_text(Byte_array_fix(bytes), all_bytes, {.uppercase = true, .spaced = true}).substr(1);
}

std::string repeat(int count, const std::string& script)
{
    return count == 0 ? "" : script + repeat(count - 1, script);
}

void Transport_test::on_pdu_message(comm::message::Message& message)
{
    const auto& pdu = *dynamic_cast<pdu::Message_assigned_id&>(message).pdu;
    EXPECT_EQ(pdu.length, pdu.data.size());
    EXPECT_TRUE(pdu.source_node && pdu.address_holder == pdu.source_node);
    came_.push_back(number("heard %04X ", pdu.pgn) + number("%02X>", pdu.source_address) +
                    number("%02X ", pdu.destination_address) + (pdu.global ? "global " : "") +
                    hex(pdu.data.bytes()));
    if (reaction_) {
        reaction_();
    }
}

void Transport_test::SetUp()
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

void Transport_test::TearDown()
{
    observers_.clear();
    for (const auto& dispatcher : dispatchers_) {
        comm::remove_dispatcher(dispatcher);
    }
    comm::master_stop();
}

Peer Transport_test::peer(std::uint32_t address)
{
    auto node = node::Node::create(address, *this);
    node->source_address = address;
    return node;
}

void Transport_test::run(const std::string& script)
{
    std::istringstream steps(script);
    for (std::string text; std::getline(steps >> std::ws, text, ';');) {
        SCOPED_TRACE(text);
        step(text);
    }
    EXPECT_EQ(came_, Lines{}) << "behind " << script;
}

void Transport_test::step(const std::string& text)
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

void Transport_test::expect(const Lines& wanted)
{
    const auto count = static_cast<std::ptrdiff_t>(std::min(came_.size(), wanted.size()));
    EXPECT_EQ(Lines(came_.begin(), came_.begin() + count), wanted);
    came_.erase(came_.begin(), came_.begin() + count);
}

void Transport_test::pass(std::uint32_t milliseconds)
{
    comm::message::time_elapsed::Time_elapsed elapsed(milliseconds);
    dispatchers_[0]->notify(elapsed);
    dispatchers_[2]->notify(elapsed);
    dispatchers_[2]->process_queue();
}

void Transport_test::send_frame(const Peer& sender, const std::string& text)
{
    const bool global = text.starts_with("all ");
    const auto group = text.substr(global ? 4 : 0);
    for (const auto& bytes : unfold(group.substr(group.find(' ') + 1))) {
        const auto identifier = pdu::identifier(6, value(group, 16), global ? 0xFF : 0x21, 0x80);
        pdu::PDU pdu(identifier, bytes_of(bytes));
        pdu.source_node = sender;
        pdu.address_holder = sender;
        dispatchers_[1]->notify(pdu);
        if (pdu.pgn == 0x1F805) {
            fast_packets_->on_frame(pdu);
        }
    }
}

bool Transport_test::send(std::uint32_t size, const Peer& destination,
                          std::shared_ptr<data_supplier::Data_supplier> supplier)
{
    return manager_->send(std::move(supplier), 0xFECA, std::make_unique<Byte_array>(counting(size)), size,
                          destination);
}

void Transport_test::transmit(const Peer& destination, std::uint32_t pgn, std::span<const std::uint8_t> bytes)
{
    came_.push_back(number("%04X>", pgn) + number("%02X ", destination ? destination->source_address : 255) +
                    hex(bytes));
}

TEST_P(Script_test, runs_as_written) { run(GetParam().steps); }

} // namespace qv::can_bus::tp
