#include "can/bus/frame_observer.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "can/network/node/manager.h"
#include "can/network/node/node_message.h"
#include "can/network/pdu/message_assigned_id.h"
#include "comm/test_kit.h"
#include "comm/time_message.h"

namespace {
std::atomic<int> allocations{0};
} // namespace

// Not inlined, or g++ takes malloc and free for a mismatched pair.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    ++allocations;
    return std::malloc(size);
}
[[gnu::noinline]] void* operator new(std::size_t size)
{
    if (void* memory = operator new(size, std::nothrow)) {
        return memory;
    }
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace qv::can_bus::bus {
namespace {

using Texts = std::vector<std::string>;
using frame::message::Received;

template <class... Values> std::string print(const char* format, Values... values)
{
    std::array<char, 64> buffer;
    std::snprintf(buffer.data(), buffer.size(), format, values...);
    return buffer.data();
}

/// "a1" for a node with the NAME 0xA1, "-" for none.
std::string who(const std::shared_ptr<node::Node>& node)
{
    return node ? print("%llx", static_cast<unsigned long long>(node->name())) : "-";
}

/// A bus with frame dispatch whose dispatcher is drained by hand. What comes out of it is told in words.
class Frame_observer_test : public comm::test::Core_test {
protected:
    Frame_observer_test()
    {
        properties.receive_transmitted_messages = false;
        bus = Bus::create(properties, nullptr, [](Bus& own) { return std::make_shared<Frame_observer>(own); });
        listen<node::message::Created>(bus->dispatcher(), [this](auto& message) {
            const auto& created = dynamic_cast<node::message::Created&>(message);
            told.push_back("new " + moved(created));
        });
        listen<node::message::Changed_address>(bus->dispatcher(), [this](auto& message) {
            told.push_back(moved(dynamic_cast<node::message::Changed_address&>(message)));
        });
        listen<pdu::Message_assigned_id>(bus->dispatcher(), [this](auto& message) {
            const auto& pdu = *dynamic_cast<pdu::Message_assigned_id&>(message).pdu;
            told.push_back(print("pdu %x/%u of ", pdu.pgn, pdu.length) + who(pdu.source_node) + " held by " +
                           who(pdu.address_holder));
        });
        listen<frame::message::Transmitted>(bus->dispatcher(), [this](auto& message) {
            const auto& frame = dynamic_cast<frame::message::Transmitted&>(message);
            told.push_back(
                print("sent %08X %02X %02X %02X", frame.identifier, frame.data[0], frame.data[1], frame.data[2]));
        });
    }

    static std::string moved(const node::message::Node_message& message)
    {
        return print("%llx@%x", static_cast<unsigned long long>(message.name), message.source_address);
    }

    /// "18EEFF80 A1 00": the identifier, then the data. Gives what came of it.
    Texts receive(const std::string& text)
    {
        std::vector<std::uint8_t> data;
        for (std::size_t position = 8; position + 3 <= text.size(); position += 3) {
            data.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(position + 1, 2), nullptr, 16)));
        }
        const auto identifier = static_cast<std::uint32_t>(std::stoul(text.substr(0, 8), nullptr, 16));
        return receive(std::make_unique<Received>(data, identifier));
    }
    Texts receive(std::unique_ptr<Received> frame)
    {
        bus->dispatcher()->post(std::move(frame));
        bus->dispatcher()->process_queue();
        return std::exchange(told, {});
    }
    void pass(std::uint32_t milliseconds)
    {
        comm::primary_dispatcher()->post(
            std::make_unique<comm::message::time_elapsed::Time_elapsed>(milliseconds));
        comm::primary_dispatcher()->process_queue();
        bus->dispatcher()->process_queue();
        told.clear();
    }

    properties::Properties properties;
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
        EXPECT_EQ(receive(row.frame), row.told) << row.frame;
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
    EXPECT_EQ(receive(std::make_unique<Received>(data, 0x18FEDA80, true, true, false)), Texts{});
    EXPECT_EQ(receive(std::make_unique<Received>(data, 0x18FEDA80, false, false, false)), Texts{});
    EXPECT_EQ(receive(std::make_unique<Received>(data, 0x18FEDA80, false, true, true)), Texts{});
    EXPECT_EQ(receive(std::make_unique<Received>(data, 0x18FEDA80, false, true, false)).size(), 1U);
}

TEST_F(Frame_observer_test, has_strangers_asked_for_their_claims_but_seldom)
{
    const Texts asked{"sent 18EAFFFE 00 EE 00"}; // the ECU holds no address yet
    bus->create_ecu(0x77, {});
    EXPECT_EQ(receive("18FEDA80 01"), asked);
    EXPECT_EQ(receive("18FEDA81 01"), Texts{}); // lost without a count
    pass(999);
    EXPECT_EQ(receive("18FEDA80 01"), Texts{});
    pass(1);
    for (int request = 1; request <= 3; ++request, pass(1000)) {
        EXPECT_EQ(receive("18FEDA81 01"), asked);
    }
    EXPECT_EQ(receive("18FEDA81 01"), Texts{});
    EXPECT_EQ(receive("18FEDAFF 01"), asked);
}

TEST_F(Frame_observer_test, spends_the_request_also_while_there_is_no_ecu_to_send_it)
{
    EXPECT_EQ(receive("18FEDA80 01"), Texts{});
    bus->create_ecu(0x77, {});
    EXPECT_EQ(receive("18FEDA81 01"), Texts{});
}

TEST_F(Frame_observer_test, hands_each_node_to_its_manager_with_the_first_claim)
{
    receive(a1_at_80);
    EXPECT_TRUE(bus->nodes().find_by_name(0xA1)->manager()->is_address_known());
}

TEST_F(Frame_observer_test, remembers_a_bounded_number_of_names)
{
    for (unsigned name = 0; name < 1100; ++name) {
        receive(print("18EEFF80 %02X %02X 00 00 00 00 00 01", name & 0xFF, name >> 8));
    }
    EXPECT_EQ(bus->nodes().nodes().size(), 1024U);
    EXPECT_EQ(receive("18EEFF80 01 00 00 00 00 00 00 01").back().substr(0, 13), "pdu ee00/8 of"); // known still
    EXPECT_EQ(receive("18EEFF80 01 00 00 00 00 00 00 02").size(), 1U);
}

TEST_F(Frame_observer_test, allocates_the_pdu_its_envelope_and_the_copies_of_the_subscribers)
{
    receive(a1_at_80);
    ears_.clear();
    int heard = 0;
    ears_.add(std::make_shared<comm::test::Ear>(bus->pdu_dispatcher_id(), 0xFEDA, [&](auto&) { ++heard; }));
    const auto cost_of_a_frame = [this] {
        const std::vector<std::uint8_t> data{1, 2, 3, 4, 5, 6, 7, 8};
        std::unique_ptr<comm::message::Message> frame = std::make_unique<Received>(data, 0x18FEDA80);
        const int before = allocations;
        bus->dispatcher()->post(frame);
        bus->dispatcher()->process_queue();
        return allocations - before;
    };
    cost_of_a_frame();
    EXPECT_EQ(cost_of_a_frame(), 2 + 3); // subscribers to the frame, to the envelope, to the PDU
    EXPECT_EQ(heard, 2);
}

} // namespace
} // namespace qv::can_bus::bus
