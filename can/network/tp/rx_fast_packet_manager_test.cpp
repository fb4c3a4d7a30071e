#include "can/network/tp/rx_fast_packet_manager.h"

#include "can/network/tp/transport_fixture.h"

namespace qv::can_bus::tp::rx::fast_packet {
namespace {

class Fast_packet_test : public Transport_test {
protected:
    void SetUp() override
    {
        Transport_test::SetUp();
        manager_ = std::make_shared<Manager>(bus_dispatcher_->id());
        observers_.add(manager_);
    }
    void frame(const Peer& sender, const std::string& bytes)
    {
        pdu::PDU pdu(0x19F80580, from_hex(bytes)); // PGN 129029
        pdu.source_node = sender;
        pdu.address_holder = sender;
        manager_->on_frame(pdu);
    }
    /// What has been handed over with this tick.
    Frames tick(std::uint32_t milliseconds = 1)
    {
        pass(milliseconds);
        bus_dispatcher_->process_queue();
        return heard();
    }

    std::shared_ptr<Manager> manager_;
};

struct Row {
    const char* name;
    Frames frames;
    Frames message;
};

class Fast_packet_row_test : public Fast_packet_test, public testing::WithParamInterface<Row> {};

TEST_P(Fast_packet_row_test, leaves_with_the_tick_when_it_is_whole)
{
    for (const auto& bytes : GetParam().frames) {
        frame(a_, bytes);
    }
    EXPECT_EQ(heard(), Frames{});
    EXPECT_EQ(tick(), GetParam().message);
    EXPECT_EQ(tick(), Frames{});
}

const char* const first = "20 0E 01 02 03 04 05 06"; // sequence 1, 14 bytes
const char* const second = "21 07 08 09 0A 0B 0C 0D";
const char* const third = "22 0E FF FF FF FF FF FF";
const Frames whole{"1F805 80>FE global 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E"};

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, Fast_packet_row_test, testing::Values(
    Row{"three_frames",         {first, second, third}, whole},
    Row{"first_frame_alone",    {"E0 06 01 02 03 04 05 06"}, {"1F805 80>FE global 01 02 03 04 05 06"}},
    Row{"length_zero",          {"00 00 01 02 03 04 05 06"}, {"1F805 80>FE global "}},
    Row{"first_repeated",       {first, first, second, third}, whole},
    Row{"second_repeated",      {first, second, second, third}, whole},
    Row{"late_one_in_order",    {first, third, second, third}, whole},
    Row{"last_lost",            {first, second}, {}},
    Row{"first_lost",           {second, third}, {}},
    Row{"out_of_order",         {first, third, second}, {}},
    Row{"other_sequence",       {first, "41 07 08 09 0A 0B 0C 0D", third}, {}},
    Row{"short_frame",          {first, "21 07 08 09", third}, {}},
    Row{"behind_its_end",       {"20 06 01 02 03 04 05 06", "21 07 08 09 0A 0B 0C 0D"},
                                {"1F805 80>FE global 01 02 03 04 05 06"}}),
    [](const auto& row) { return std::string(row.param.name); });
// clang-format on

TEST_F(Fast_packet_test, of_two_senders_and_of_strangers_do_not_mix)
{
    frame(a_, first);
    frame(b_, "20 07 11 12 13 14 15 16");
    frame(nullptr, second);
    frame(b_, "21 17 FF FF FF FF FF FF");
    frame(a_, second);
    frame(a_, third);
    EXPECT_EQ(tick(), (Frames{whole[0], "1F805 81>FE global 11 12 13 14 15 16 17"}));
}

TEST_F(Fast_packet_test, dies_152_ms_after_its_last_frame)
{
    frame(a_, first);
    tick(151);
    frame(a_, second);
    tick(151);
    frame(a_, third);
    EXPECT_EQ(tick(), whole);
    frame(a_, first);
    frame(a_, second);
    tick(152);
    frame(a_, third);
    EXPECT_EQ(tick(), Frames{});
}

TEST_F(Fast_packet_test, begun_without_end_is_bounded)
{
    std::vector<Peer> strangers;
    for (std::size_t count = 0; count < Manager::sessions_maximum; ++count) {
        strangers.push_back(peer(0x90));
        frame(strangers.back(), first);
    }
    frame(a_, "E0 06 01 02 03 04 05 06");
    EXPECT_EQ(tick(152), Frames{});
    frame(a_, "E0 06 01 02 03 04 05 06");
    EXPECT_EQ(tick().size(), 1U);
}

} // namespace
} // namespace qv::can_bus::tp::rx::fast_packet
