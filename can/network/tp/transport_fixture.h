#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "can/network/tp/manager.h"
#include "can/network/tp/rx_bam_manager.h"
#include "can/network/tp/rx_fast_packet_manager.h"
#include "comm/master.h"

namespace qv::can_bus::tp {

using Lines = std::vector<std::string>;
using Peer = std::shared_ptr<node::Node>;

/// 1, 2, 3 ... as the payload of a message.
std::vector<std::uint8_t> counting(std::size_t size, std::size_t first = 1);
std::string hex(std::span<const std::uint8_t> bytes);
std::string repeat(int count, const std::string& script);

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
    void SetUp() override;
    void TearDown() override;
    void run(const std::string& script);
    Peer peer(std::uint32_t address);
    void send_frame(const Peer& sender, const std::string& text);
    bool send(std::uint32_t size, const Peer& destination,
              std::shared_ptr<data_supplier::Data_supplier> supplier = nullptr);

    void transmit(const Peer& destination, std::uint32_t pgn, std::span<const std::uint8_t> bytes) override;
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
    void step(const std::string& text);
    void expect(const Lines& wanted);
    void pass(std::uint32_t milliseconds);
    void on_pdu_message(comm::message::Message& message);
};

/// A family of scripts. A name is a sentence with the test suite's before it.
struct Script {
    const char* name;
    std::string steps;
};

class Script_test : public Transport_test, public testing::WithParamInterface<Script> {};

inline std::string script_name(const testing::TestParamInfo<Script>& row) { return row.param.name; }

} // namespace qv::can_bus::tp
