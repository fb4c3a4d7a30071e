#include "can/network/ecu/ecu.h"

#include <limits>
#include <numeric>

#include "can/network/ecu/configuration.h"
#include "can/network/ecu/ecu_kit.h"
#include "can/network/node/manager.h"
#include "config/object.h"
#include "framework/thread/clock.h"

namespace qv::can_bus::ecu {
namespace {

using namespace test;

class ECU_test : public test::Ecu_test {
protected:
    void SetUp() override
    {
        Ecu_test::SetUp();
        claim(0x80, higher_name);
        peer_ = nodes_.find_by_name(higher_name);
        hold(0x81);
    }
    void send(std::uint32_t pgn, const std::string& payload, bool to_peer = true, bool force = false)
    {
        ecu_->transmit(to_peer ? peer_ : nullptr, 6, pgn, hex(payload).bytes(), force);
        drain();
    }
    /// A payload of `size` bytes, counted from 1.
    static std::unique_ptr<Byte_array> counted(std::uint32_t size)
    {
        auto payload = std::make_unique<Byte_array>();
        payload->resize(size);
        std::iota(payload->begin(), payload->begin() + size, std::uint8_t{1});
        return payload;
    }

    std::shared_ptr<node::Node> peer_;
};

TEST_F(ECU_test, sends_frames_to_a_node_or_to_all_and_refuses_more_than_8_bytes)
{
    send(0xEF00, "01 02");
    send(0xEF00, "01 02", false);
    send(0xFF12, "");
    send(0x1EF00, "AA"); // data page
    send(0xEF00, "01 02 03 04 05 06 07 08");
    send(0xEF00, "01 02 03 04 05 06 07 08 09");
    peer_->source_address = 254; // it has lost its address
    send(0xEF00, "01");
    EXPECT_EQ(sent(), (Texts{"18EF8081 01 02", "18EFFF81 01 02", "18FF1281", "19EF8081 AA",
                             "18EF8081 01 02 03 04 05 06 07 08", "18EFFE81 01"}));
}

TEST_F(ECU_test, sends_nothing_without_an_address_unless_it_must)
{
    create_ecu();
    send(0xEF00, "01");
    send(0xEF00, "02", true, true); // forced: leaves from the null address
    EXPECT_EQ(sent(), Texts{"18EF80FE 02"});
    ecu_->send_with_transport(peer_, 6, 0xEF00, counted(8));
    ecu_->send_with_transport(peer_, 6, 0xEF00, counted(9));
    ecu_->send_fast_packet(nullptr, 6, 0x1F801, 0, counted(9)->bytes());
    after(10, {});
    hold(0x81);
    ecu_->send_with_transport(peer_, 6, 0xEF00, nullptr);
    after(10, {});
}

TEST_F(ECU_test, lets_pass_what_is_for_it_or_for_all)
{
    std::string heard;
    listen(comm::find_dispatcher(ecu_->pdu_dispatcher_id()), {0xEF00, 0xFF12},
           [&](auto& message) { heard += std::to_string(dynamic_cast<pdu::PDU&>(message).data[0]); });
    receive_each({"18EF8180 01", "18EFFF80 02", "18FF1280 03", "18EF8280 04", "18EFFE80 05"});
    start_claim(0x82); // falls back to the null address
    receive_each({"18EFFE80 06", "18EF8180 07"});
    EXPECT_EQ(heard, "1236");
}

TEST_F(ECU_test, carries_out_sends_that_the_application_asks_for_by_message)
{
    tell<message::PDU_transmit>(ecu_, higher_name, 3, 0xEF00, hex("01 02"));
    tell<message::PDU_transmit>(ecu_, 0x1234, 7, 0xEF00, hex("03")); // nobody has this NAME
    tell<message::PDU_transmit>(ecu_, higher_name, 6, 0xEF00, *counted(9));
    EXPECT_EQ(sent(), (Texts{"0CEF8081 01 02", "1CEFFF81 03"}));
    tell<message::tp::tx::Current_state_request>(ecu_);
    after(4, {"18EC8081 10 09 00 02 FF 00 EF 00"}); // RTS: 9 bytes, 2 packets
    receive("18EC8180 11 02 01 FF FF 00 EF 00");
    EXPECT_EQ(sent(), (Texts{"18EB8081 01 01 02 03 04 05 06 07", "18EB8081 02 08 09 FF FF FF FF FF"}));
    tell<message::tp::tx::Current_state_request>(ecu_);
    receive("18EC8180 13 09 00 02 FF 00 EF 00");
    tell<message::tp::tx::Current_state_request>(ecu_);
    EXPECT_EQ(told(), (Texts{"state 9 0", "state 9 14", "transferred", "state 0 0"}));
}

TEST_F(ECU_test, answers_with_its_software_identification)
{
    using message::software_identification::Response;
    tell<Response>(ecu_, peer_, "1*2*");
    tell<Response>(ecu_, nullptr, "");
    tell<Response>(ecu_, peer_, std::string(126, '*'));
    after(4, {"18FEDA81 02 31 2A 32 2A", "18FEDA81 00"});
    tell<Response>(ecu_, peer_, std::string(125, '*'));
    after(4, {"18EC8081 10 7E 00 12 FF DA FE 00"});
}

TEST_F(ECU_test, cuts_a_fast_packet_into_frames)
{
    const auto send_packet = [&](std::uint32_t size) {
        ecu_->send_fast_packet(nullptr, 3, 0x1F801, 5, counted(size)->bytes());
        drain();
        return sent();
    };
    EXPECT_EQ(send_packet(9), (Texts{"0DF80181 A0 09 01 02 03 04 05 06", "0DF80181 A1 07 08 09 FF FF FF FF"}));
    EXPECT_EQ(send_packet(13).size(), 2U);
    const Texts longest = send_packet(255);
    ASSERT_EQ(longest.size(), 37U);
    EXPECT_EQ(longest[36], "0DF80181 A4 FC FD FE FF FF FF FF"); // the index has gone round
    EXPECT_EQ(send_packet(256), Texts{});
}

TEST_F(ECU_test, reports_acknowledgments_and_keeps_them_for_the_node)
{
    receive_each(
        {"18E88180 00 05 FF FF 81 CA FE 00", "18E8FF80 01 FF FF FF 80 CB FE 00", "18E88180 00 05 FF FF 81 CC FE"});
    receive("18E88177 00 05 FF FF 81 CC FE 00"); // from nobody known
    EXPECT_EQ(told(), (Texts{"acknowledgment 0 5 129 65226", "acknowledgment 1 255 128 65227",
                             "acknowledgment 0 5 129 65228"}));
    const auto& codes = peer_->manager()->trouble_codes();
    EXPECT_TRUE(codes.active_supported() == 1 && codes.previous_active_supported() == 0);
    EXPECT_EQ(codes.reset_previous_active_supported(), 3U); // not known
    receive("18E88180 00 05 FF FF 81 CC FE 00");
    EXPECT_EQ(codes.reset_previous_active_supported(), 1U);
}

TEST_F(ECU_test, sends_the_date_and_a_count_at_the_interval_of_its_debug_timer)
{
    properties_.debug_timer_interval = 1000;
    create_ecu();
    hold(0x81);                          // 541 ms
    time::set_adjusted_time(1709296245); // 2024-03-01 12:30:45 UTC
    after(458, {});
    after(1 + 50, {"18FFFF81 20 24 03 01 12 30 45 00"});
    after(949, {});
    hold(0x81); // one is due while it has no address: not sent, not counted
    time::set_adjusted_time(std::numeric_limits<std::time_t>::max() / 2);
    after(3001, {"18FFFF81 FA F8 01 01 00 00 00 01"}); // one, not three
    time::set_adjusted_time(0);
}

TEST_F(ECU_test, is_silent_once_closed_and_goes_with_its_queued_messages)
{
    const std::weak_ptr<ECU> watched = ecu_;
    ecu_->report<message::address::Claimed>(); // nobody takes these any more
    ecu_->dispatcher()->post(std::make_unique<message::tp::tx::Current_state_request>(ecu_));
    ears_.clear();
    watch_frames();
    ecu_->close();
    EXPECT_FALSE(comm::find_dispatcher_by_name("-"));
    send(0xEF00, "01", true, true); // forced
    ecu_->send_with_transport(peer_, 6, 0xEF00, counted(9));
    ecu_->send_address_claim();
    receive("18EAFF80 00 EE 00");
    after(1000, {});
    ecu_.reset();
    EXPECT_TRUE(watched.expired());
}

TEST_F(ECU_test, may_be_closed_and_let_go_by_a_handler_of_its_pdus)
{
    const auto watched = std::weak_ptr(comm::find_dispatcher(ecu_->pdu_dispatcher_id()));
    bool heard = false;
    listen(watched.lock(), {0xEF00}, [&](auto&) { ecu_.reset(); });
    listen(watched.lock(), {0xEF00}, [&](auto&) { heard = !watched.expired(); });
    receive("18EF8180 01");
    EXPECT_TRUE(heard);
    EXPECT_TRUE(watched.expired());
}

TEST(Ecu_configuration, fills_itself_and_reads_back_what_it_holds)
{
    config::Configuration document("unused.xml", false);
    document.root = std::make_unique<config::Object>("configuration");
    config::Object* const node = document.find_object("Flintrow/ecu", true);
    const name::Fields fields{1, 151, 0, 0, 129, 0, 1, 0, 1};
    EXPECT_EQ(configuration::read_name(document, node, fields), 0x8100810012E00001U);
    const name::Name stored = name::compose({0x1FFFFF, 2047, 7, 31, 129, 0, 1, 0, 1});
    EXPECT_TRUE(configuration::write_name(document, node, stored, 130));
    EXPECT_EQ(configuration::read_name(document, node, fields), stored);
    EXPECT_EQ(document.get_decimal(node, "source_address_preferred", 249), 130U);

    properties::Properties defaults;
    defaults.type = "operator_controls";
    EXPECT_EQ(configuration::read_properties(document, node, defaults).type, "operator_controls");
    config::Object* const certification = document.find_object("Flintrow/ecu/diagnostic/certification", false);
    EXPECT_EQ(document.get_decimal(certification, "reference_number", 9), 65535U);
    document.set_decimal(document.find_object("laboratory", false, certification), "id", 77);
    EXPECT_EQ(configuration::read_properties(document, node, defaults).certification_laboratory_id, 77U);
}

} // namespace
} // namespace qv::can_bus::ecu
