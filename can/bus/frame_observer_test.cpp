#include "can/bus/frame_observer.h"

#include <array>
#include <sstream>
#include <string>
#include <vector>

#include "can/network/ecu/test_kit.h"
#include "can/network/node/manager.h"
#include "can/network/node/node_message.h"

namespace qv::can_bus::bus {
namespace {

using frame::message::Received;
using test::Texts;

std::string hex_number(std::uint64_t number)
{
    std::ostringstream text;
    text << std::hex << number;
    return text.str();
}

/// "a1" for a node with the NAME 0xA1, "-" for none.
std::string who(const std::shared_ptr<node::Node>& node) { return node ? hex_number(node->name()) : "-"; }

/// A bus with frame dispatch. What comes out of it is told in words.
class Frame_observer_test : public test::Frame_test {
protected:
    Frame_observer_test()
    {
        properties::Properties properties;
        properties.receive_transmitted_messages = false;
        bus = Bus::create(properties, nullptr, [](Bus& own) { return std::make_shared<Frame_observer>(own); });
        bus_dispatcher_ = bus->dispatcher();
        watch_frames();
        listen(bus_dispatcher_, {node::message::Created::id, node::message::Changed_address::id},
               [this](auto& news) {
                   const auto& node = dynamic_cast<node::message::Node_message&>(news);
                   told.push_back((news.get_assigned_id() == node::message::Created::id ? "new " : "") +
                                  hex_number(node.name) + "@" + hex_number(node.source_address));
               });
        listen(bus_dispatcher_, {pdu::Message_assigned_id::id}, [this](auto& message) {
            const auto& pdu = *dynamic_cast<pdu::Message_assigned_id&>(message).pdu;
            told.push_back("pdu " + hex_number(pdu.pgn) + "/" + std::to_string(pdu.length) + " of " +
                           who(pdu.source_node) + " held by " + who(pdu.address_holder));
        });
    }
    ~Frame_observer_test() override { ears_.clear(); }

    /// What comes of a frame.
    Texts told_of(const std::string& frame)
    {
        receive(frame);
        return std::exchange(told, {});
    }

    std::unique_ptr<Bus> bus;
    Texts told;
};

struct Row {
    std::string frame;
    Texts told;
};
struct Story {
    const char* name;
    std::vector<Row> rows;
};

class Sender_tracking : public Frame_observer_test, public testing::WithParamInterface<Story> {};

TEST_P(Sender_tracking, tells_who_sent_what)
{
    for (const Row& row : GetParam().rows) {
        EXPECT_EQ(told_of(row.frame), row.told) << row.frame;
    }
}

const std::string a1_at_80 = "18EEFF80 A1 00 00 00 00 00 00 00";
const Row a1_comes{a1_at_80, {"new a1@80", "a1@80", "pdu ee00/8 of a1 held by a1"}};

INSTANTIATE_TEST_SUITE_P(
    Stories, Sender_tracking,
    testing::Values(
        Story{"a_repeated_claim_changes_nothing", {a1_comes, {a1_at_80, {"pdu ee00/8 of a1 held by a1"}}}},
        Story{"a_known_sender_is_named",
              {a1_comes,
               {"18FEDA80 01 02", {"pdu feda/2 of a1 held by a1"}},
               {"00000080", {"pdu 0/0 of a1 held by a1"}},
               {"18FEDA81 01", {}}}},
        Story{
            "the_loser_of_an_address_stays_without_one",
            {a1_comes,
             {"18EEFF80 B2 00 00 00 00 00 00 00", {"new b2@80", "a1@fe", "b2@80", "pdu ee00/8 of b2 held by b2"}},
             {"18FEDA80 01", {"pdu feda/1 of b2 held by b2"}},
             {"18EEFF81 A1 00 00 00 00 00 00 00", {"a1@81", "pdu ee00/8 of a1 held by a1"}},
             {"18FEDA81 01", {"pdu feda/1 of a1 held by a1"}}}},
        Story{"a_known_node_may_take_the_address_of_another",
              {a1_comes,
               {"18EEFF81 B2 00 00 00 00 00 00 00", {"new b2@81", "b2@81", "pdu ee00/8 of b2 held by b2"}},
               {"18EEFF80 B2 00 00 00 00 00 00 00", {"a1@fe", "b2@80", "pdu ee00/8 of b2 held by b2"}},
               {"18FEDA81 01", {}}}},
        Story{"a_node_that_cannot_claim_has_no_address",
              {{"18EEFFFE A1 00 00 00 00 00 00 00", {"new a1@fe", "pdu ee00/8 of a1 held by a1"}},
               {a1_at_80, {"a1@80", "pdu ee00/8 of a1 held by a1"}},
               {"18EEFFFE A1 00 00 00 00 00 00 00", {"a1@fe", "pdu ee00/8 of a1 held by a1"}},
               {"18FEDA80 01", {}}}},
        Story{"strangers_may_only_request_and_claim",
              {{"18EAFF80 00 EE 00", {"pdu ea00/3 of - held by -"}},
               {"18EA2380", {"pdu ea00/0 of - held by -"}},
               {"18E8FF80 00", {}},
               {"18FEEB80 00", {}},
               {"1CECFF80 20 09 00 02 FF DA FE 00", {}}}},
        Story{"a_claim_that_is_none_tells_nobody",
              {{"18EEFF80 A1 00 00 00 00 00 00", {"pdu ee00/7 of - held by -"}},
               {"18EEFF80", {"pdu ee00/0 of - held by -"}},
               {"18EE2380 A1 00 00 00 00 00 00 00", {"pdu ee00/8 of - held by -"}},
               {"19EEFF80 A1 00 00 00 00 00 00 00", {}}}}),
    [](const auto& story) { return story.param.name; });

TEST_F(Frame_observer_test, knows_extended_data_frames_only)
{
    const std::vector<std::uint8_t> data{1};
    receive(a1_at_80);
    told.clear();
    for (const auto& [error, extended, remote] : std::vector<std::array<bool, 3>>{
             {true, true, false}, {false, false, false}, {false, true, true}, {false, true, false}}) {
        bus_dispatcher_->post(std::make_unique<Received>(data, 0x18FEDA80, error, extended, remote));
    }
    drain();
    EXPECT_EQ(told.size(), 1U);
}

TEST_F(Frame_observer_test, has_strangers_asked_for_their_claims_but_seldom)
{
    const Texts asked{"18EAFFFE 00 EE 00"}; // the ECU holds no address yet
    const auto asked_after = [this](const std::string& frame) {
        EXPECT_EQ(told_of(frame), Texts{});
        return sent();
    };
    bus->create_ecu(0x77, {});
    EXPECT_EQ(asked_after("18FEDA80 01"), asked);
    EXPECT_EQ(asked_after("18FEDA81 01"), Texts{}); // lost without a count
    pass(999);
    EXPECT_EQ(asked_after("18FEDA80 01"), Texts{});
    pass(1);
    for (int request = 1; request <= 3; ++request, pass(1000)) {
        EXPECT_EQ(asked_after("18FEDA81 01"), asked);
    }
    EXPECT_EQ(asked_after("18FEDA81 01"), Texts{});
    EXPECT_EQ(asked_after("18FEDAFF 01"), asked);
}

TEST_F(Frame_observer_test, remembers_a_bounded_number_of_names_and_hands_each_to_its_manager)
{
    for (unsigned name = 0; name < 1100; ++name) {
        receive(test::claim_text(0x80, 0x0100000000000000 + name));
    }
    ASSERT_EQ(bus->nodes().nodes().size(), 1024U);
    EXPECT_TRUE(bus->nodes().nodes().back()->manager()->is_address_known());
    told.clear();
    EXPECT_EQ(told_of(test::claim_text(0x81, 0x0100000000000001)).front(), "100000000000001@81"); // known still
    EXPECT_EQ(told_of(test::claim_text(0x82, 0xFF)), Texts{"pdu ee00/8 of - held by -"});
    // a stranger who takes an address is not its former holder
    EXPECT_EQ(told_of(test::claim_text(0x81, 0xFF)), (Texts{"100000000000001@fe", "pdu ee00/8 of - held by -"}));
    EXPECT_EQ(told_of("18FEDA81 01"), Texts{});
}

} // namespace
} // namespace qv::can_bus::bus
