#include "can/bus/frame_observer.h"

#include <sstream>

#include "can/network/ecu/test_kit.h"
#include "can/network/nmea_2000/message.h"
#include "can/network/node/manager.h"
#include "can/network/node/node_message.h"

namespace qv::can_bus::bus {
namespace {

using namespace test;

/// A bus with frame dispatch. What comes out of it is told in words; a node goes by its NAME, 0 is nobody.
class Frame_observer_test : public test::Frame_test {
protected:
    Frame_observer_test()
    {
        told << std::hex;
        properties::Properties properties;
        properties.receive_transmitted_messages = false;
        bus = Bus::create(properties, nullptr, [](Bus& own) { return std::make_shared<Frame_observer>(own); });
        bus_dispatcher_ = bus->dispatcher();
        watch_frames();
        listen(bus_dispatcher_, {node::message::Created::id, node::message::Changed_address::id},
               [this](auto& news) {
                   const auto& node = dynamic_cast<node::message::Node_message&>(news);
                   told << (news.get_assigned_id() == node::message::Created::id ? "new " : "") << node.name << "@"
                        << node.source_address << " ";
               });
        listen(bus_dispatcher_, {pdu::Message_assigned_id::id}, [this](auto& message) {
            const auto& pdu = *dynamic_cast<pdu::Message_assigned_id&>(message).pdu;
            const auto who = [](const auto& node) { return node ? node->name() : 0; };
            told << pdu.pgn << "/" << pdu.length << " of " << who(pdu.source_node) << " held by "
                 << who(pdu.address_holder);
        });
    }
    ~Frame_observer_test() override { ears_.clear(); }

    /// What comes of a frame.
    std::string told_of(const std::string& frame)
    {
        told.str("");
        receive(frame);
        return told.str();
    }

    using Story = std::vector<std::pair<std::string, const char*>>;
    void play(const Story& story)
    {
        for (const auto& [frame, outcome] : story) {
            EXPECT_EQ(told_of(frame), outcome) << frame;
        }
    }

    std::unique_ptr<Bus> bus;
    std::ostringstream told;
};

TEST_F(Frame_observer_test, tells_who_sent_what)
{
    // clang-format off
    play({
        // strangers may only request and claim
        {"18EAFF80 00 EE 00",                   "ea00/3 of 0 held by 0"},
        {"18EA2380",                            "ea00/0 of 0 held by 0"},
        {"18E8FF80 00",                         ""},
        {"18FEEB80 00",                         ""},
        {"1CECFF80 20 09 00 02 FF DA FE 00",    ""},
        // claims that are none tell nobody
        {"18EEFF80 A1 00 00 00 00 00 00",       "ee00/7 of 0 held by 0"},
        {"18EEFF80",                            "ee00/0 of 0 held by 0"},
        {"18EE2380 A1 00 00 00 00 00 00 00",    "ee00/8 of 0 held by 0"},
        {"19EEFF80 A1 00 00 00 00 00 00 00",    ""},
        // a node that cannot claim has no address
        {claim_text(0xFE, 0xA1),                "new a1@fe ee00/8 of a1 held by a1"},
        {claim_text(0x80, 0xA1),                "a1@80 ee00/8 of a1 held by a1"},
        {claim_text(0xFE, 0xA1),                "a1@fe ee00/8 of a1 held by a1"},
        {"18FEDA80 01",                         ""},
        // a known sender is named, and a repeated claim changes nothing
        {"18EEFF80 A1 00 00 00 00 00 00 00",    "a1@80 ee00/8 of a1 held by a1"},
        {claim_text(0x80, 0xA1),                "ee00/8 of a1 held by a1"},
        {"18FEDA80 01 02",                      "feda/2 of a1 held by a1"},
        {"00000080",                            "0/0 of a1 held by a1"},
        {"18FEDA81 01",                         ""},
        // the loser of an address stays without one
        {claim_text(0x80, 0xB2),                "new b2@80 a1@fe b2@80 ee00/8 of b2 held by b2"},
        {"18FEDA80 01",                         "feda/1 of b2 held by b2"},
        {claim_text(0x81, 0xA1),                "a1@81 ee00/8 of a1 held by a1"},
        {"18FEDA81 01",                         "feda/1 of a1 held by a1"},
        // a known node may take the address of another
        {claim_text(0x81, 0xB2),                "a1@fe b2@81 ee00/8 of b2 held by b2"},
        {"18FEDA80 01",                         ""},
        // one without an address is new to the bus
        {claim_text(0x80, 0xC3),                "new c3@80 c3@80 ee00/8 of c3 held by c3"},
        // one that loses its address may go on without
        {claim_text(0xFE, 0xC3),                "a1@fe c3@fe ee00/8 of c3 held by c3"},
        {"18EAFFFE 00 EE 00",                   "ea00/3 of c3 held by c3"},
        // nobody is at the global address
        {"18EEFFFF E5 00 00 00 00 00 00 00",    "ee00/8 of 0 held by 0"},
    });
    // clang-format on
}

TEST_F(Frame_observer_test, lets_a_member_speak_for_the_master_of_its_working_set_wherever_the_two_go)
{
    receive_each({claim_text(0x80, 0xA1), claim_text(0x81, 0xB2), claim_text(0x82, 0xC3),
                  "18FE0D80 02 FF FF FF FF FF FF FF",   // working set master: two with itself
                  "18FE0C80 B2 00 00 00 00 00 00 00"}); // working set member
    // clang-format off
    play({
        {"18FEDA80 01",          "feda/1 of a1 held by a1"},
        {"18FEDA81 01",          "feda/1 of a1 held by b2"},
        {claim_text(0x81, 0xC3), "b2@fe c3@81 ee00/8 of c3 held by c3"}, // the member loses its address
        {"18FEDA81 01",          "feda/1 of c3 held by c3"},
        {claim_text(0x83, 0xB2), "b2@83 ee00/8 of a1 held by b2"},
        {claim_text(0x80, 0xC3), "a1@fe c3@80 ee00/8 of c3 held by c3"}, // and now the master
        {"18FEDA83 01",          "feda/1 of a1 held by b2"},
    });
    // clang-format on
}

TEST_F(Frame_observer_test, leads_the_frames_of_a_position_to_one_message_at_the_next_tick)
{
    using nmea_2000::message::Satellites_in_view;
    std::vector<Satellites_in_view> views;
    listen(bus_dispatcher_, {Satellites_in_view::id},
           [&](auto& message) { views.push_back(dynamic_cast<Satellites_in_view&>(message)); });
    receive_each({claim_text(0x1C, 0xA1), "0DFA041C 40 0F 11 FD 01 05 FF FF", "0DFA041C 41 34 12 FE FF FD FF FF",
                  "0DFA041C 42 FF F7 FF FF FF FF FF"});
    EXPECT_TRUE(views.empty());
    pass(3);
    ASSERT_EQ(views.size(), 1U);
    EXPECT_TRUE(views[0].name == 0xA1 && views[0].satellites.at(0).range_residual == -3);
}

TEST_F(Frame_observer_test, knows_extended_data_frames_only)
{
    receive(claim_text(0x80, 0xA1));
    told.str("");
    for (const unsigned flags : {0b010U, 0b110U, 0b000U, 0b011U}) { // error, extended, remote
        bus_dispatcher_->post(std::make_unique<frame::message::Received>(
            std::vector<std::uint8_t>{1}, 0x18FEDA80, (flags & 4) != 0, (flags & 2) != 0, (flags & 1) != 0));
    }
    drain();
    EXPECT_EQ(told.str(), "feda/1 of a1 held by a1");
}

TEST_F(Frame_observer_test, has_strangers_asked_for_their_claims_but_seldom)
{
    // clang-format off
    const struct { const char* frame; std::size_t asked; std::uint32_t then; } rows[] = {
        {"18FEDA80 01", 1, 0}, {"18FEDA81 01", 0, 999}, // lost without a count
        {"18FEDA80 01", 0, 1}, {"18FEDA81 01", 1, 1000}, {"18FEDA81 01", 1, 1000}, {"18FEDA81 01", 1, 1000},
        {"18FEDA81 01", 0, 0}, {"18FEDAFF 01", 1, 0}};
    // clang-format on
    bus->create_ecu(0x77, {});
    for (const auto& [frame, asked, then] : rows) {
        EXPECT_EQ(told_of(frame), "");
        EXPECT_EQ(sent(), Texts(asked, "18EAFFFE 00 EE 00")) << frame; // the ECU holds no address yet
        pass(then);
    }
}

TEST_F(Frame_observer_test, remembers_a_bounded_number_of_names)
{
    for (unsigned name = 0; name < 1100; ++name) {
        receive(claim_text(0x80, 0x0100000000000000 + name));
    }
    ASSERT_EQ(bus->nodes().nodes().size(), 1024U);
    EXPECT_NE(bus->nodes().find_by_address(0x80), nullptr) << "no stranger takes an address";
    EXPECT_EQ(told_of(claim_text(0x81, 0x0100000000000001)).find("100000000000001@81"), 0U); // known still
    EXPECT_EQ(told_of(claim_text(0x82, 0xFF)), "ee00/8 of 0 held by 0");
}

} // namespace
} // namespace qv::can_bus::bus
