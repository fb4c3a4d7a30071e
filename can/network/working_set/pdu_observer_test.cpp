#include "can/network/working_set/pdu_observer.h"

#include <sstream>
#include <string>

#include "can/network/node/node.h"
#include "can/network/node/test_kit.h"
#include "can/network/node/working_set_handler.h"
#include "can/network/pdu/pdu.h"

namespace qv::can_bus::working_set {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// The control functions a to d on a bus. A letter is also its owner's NAME.
///
/// A script has these steps, with blanks between them: "a=3" a is the master of 3; "a+b" it announces b, which
/// may be any letter; "*e" e joins the bus.
class Working_set_test : public test::Network_test, public node::Bus_port {
protected:
    void SetUp() override
    {
        bus_dispatcher_ = comm::create_dispatcher("bus", false);
        ears_.add(std::make_shared<PDU_observer>(bus_dispatcher_->id(), table_));
        play("*a *b *c *d");
    }
    void TearDown() override { ears_.clear(); }

    void play(const std::string& script)
    {
        std::istringstream steps(script);
        for (std::string step; steps >> step;) {
            if (step[0] == '*') {
                table_.append(node::Node::create(static_cast<name::Name>(step[1]), *this));
            } else if (step[1] == '=') {
                announce(step[0], static_cast<std::uint8_t>(std::stoul(step.substr(2))));
            } else {
                add(step[0], step[2]);
            }
        }
    }
    void announce(char master, std::uint8_t count, std::size_t size = 8)
    {
        Bytes bytes(size, count);
        send(master, pdu::pgn::working_set_master, bytes);
    }
    void add(char master, int member, std::size_t size = 8)
    {
        Bytes bytes{static_cast<std::uint8_t>(member), static_cast<std::uint8_t>(member >> 8)};
        bytes.resize(size);
        send(master, pdu::pgn::working_set_member, bytes);
    }
    /// Whom the PDUs of each name as their source.
    std::string faces() const
    {
        std::string text;
        for (const auto& node : table_.nodes()) {
            text.push_back(static_cast<char>(node->pdu_source.lock()->name()));
        }
        return text;
    }

    comm::Dispatcher_id dispatcher_id() const override { return bus_dispatcher_->id(); }
    bool detail_manager_enabled() const override { return false; }
    bool can_request() const override { return false; }
    void request(std::uint32_t, const std::shared_ptr<node::Node>&) override {}

    node::Table table_;

private:
    /// As frame dispatch would hand it on.
    void send(char sender, std::uint32_t pgn, const Bytes& bytes)
    {
        pdu::PDU pdu(pdu::identifier(6, pgn, 255, 0x80), Byte_array(bytes));
        pdu.address_holder = table_.find_by_name(static_cast<name::Name>(sender));
        pdu.source_node = pdu.address_holder ? pdu.address_holder->pdu_source.lock() : nullptr;
        bus_dispatcher_->notify(pdu);
    }
};

struct Story {
    const char* name;
    const char* script;
    const char* faces;
};

class Working_set_story : public Working_set_test, public testing::WithParamInterface<Story> {};

TEST_P(Working_set_story, ends_with_these_faces)
{
    play(GetParam().script);
    EXPECT_EQ(faces(), GetParam().faces);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Announcement, Working_set_story, testing::Values(
    Story{"is_complete",                         "a=3 a+b a+c",                 "aaad"},
    Story{"the_same_member_counts_once",         "a=3 a+b a+b a+b",             "abcd"},
    Story{"of_the_master_alone_or_of_nobody",    "a=1 a+b b=0 b+c",             "abcd"},
    Story{"more_members_than_announced",         "a=2 a+b a+c a+b a+c",         "aacd"},
    Story{"members_before_their_master",         "a+b a=2 a+c",                 "abad"},
    Story{"begins_anew_and_lets_nobody_go",      "a=2 a+b a=3 a+c a+d",         "aaaa"},
    Story{"begins_anew_before_it_is_complete",   "a=3 a+b a=3 a+c",             "abcd"},
    Story{"of_itself_counts",                    "a=3 a+a a+b",                 "aacd"},
    Story{"of_each_other",                       "a=2 b=2 a+b b+a",             "abcd"},
    Story{"of_a_stranger_counts",                "a=3 a+x a+b",                 "aacd"},
    Story{"two_masters_and_the_last_wins",       "a=2 b=3 b+c a+d b+d",         "abbb"},
    Story{"two_masters_and_the_first_wins_back", "a=2 a+d b=2 b+d a=2 a+d",     "abca"},
    Story{"the_late_one_gets_it_the_next_time",  "a=3 a+b a+e *e a=2 a+e",      "aacda"},
    Story{"the_late_one_keeps_its_face",         "a=3 a+b a+e *e a+e",          "aacde"},
    Story{"a_member_speaks_for_its_master",      "a=2 a+b b=3 b+c b+d",         "aaaa"}),
    [](const auto& row) { return row.param.name; });
// clang-format on

TEST_F(Working_set_test, heeds_only_messages_of_8_bytes_from_known_senders)
{
    announce('a', 2);
    for (std::size_t size = 0; size < 16; ++size) {
        announce('x', 2, size);
        add('x', 'b', size);
        if (size != 8) {
            announce('a', 3, size);
            add('a', 'b', size);
        }
    }
    EXPECT_EQ(faces(), "abcd");
    play("a+b");
    EXPECT_EQ(faces(), "aacd");
}

TEST_F(Working_set_test, takes_as_many_members_as_a_count_can_tell_and_forgets_the_flood_behind_them)
{
    announce('a', 255);
    for (int member = 1000; member < 3000; ++member) {
        if (member == 1253) {
            EXPECT_EQ(faces(), "abcd");
            play("a+b");
            EXPECT_EQ(faces(), "aacd");
        }
        add('a', member);
    }
    EXPECT_LE(table_.find_by_name('a')->working_set_handler()->members().size(), 255U);
}

} // namespace
} // namespace qv::can_bus::working_set
