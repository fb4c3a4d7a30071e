#include "can/network/working_set/pdu_observer.h"

#include <sstream>

#include "can/network/node/test_kit.h"
#include "can/network/node/working_set_handler.h"

namespace qv::can_bus::working_set {
namespace {

struct Story {
    const char* name;
    const char* script;
    const char* faces; ///< whom the PDUs of each name as their source in the end
};

/// The control functions a to d on a bus. A letter is also its owner's NAME.
class Working_set_test : public test::Node_bus_test, public testing::WithParamInterface<Story> {
protected:
    Working_set_test()
    {
        ears_.add(std::make_shared<PDU_observer>(bus_dispatcher_->id(), table_));
        play("*a *b *c *d");
    }
    /// A script has these steps, with blanks between them: "a=3" a is the master of 3; "a+b" it announces b, which
    /// may be any letter; "a+b#7" it does so in 7 bytes; "*e" e joins the bus.
    void play(const std::string& script)
    {
        std::istringstream steps(script);
        for (std::string step; steps >> step;) {
            const std::size_t mark = step.find('#');
            const std::size_t size = mark == std::string::npos ? 8 : std::stoul(step.substr(mark + 1));
            if (step[0] == '*') {
                table_.append(node::Node::create(static_cast<name::Name>(step[1]), *this));
            } else if (step[1] == '=') {
                send(step[0], pdu::pgn::working_set_master, std::stoul(step.substr(2)), size);
            } else {
                send(step[0], pdu::pgn::working_set_member, static_cast<name::Name>(step[2]), size);
            }
        }
    }
    /// As frame dispatch would hand it on.
    void send(char sender, std::uint32_t pgn, name::Name content, std::size_t size = 8)
    {
        std::vector<std::uint8_t> bytes{static_cast<std::uint8_t>(content),
                                        static_cast<std::uint8_t>(content >> 8)};
        bytes.resize(size);
        pdu::PDU pdu(pdu::identifier(6, pgn, 255, 0x80), Byte_array(bytes));
        pdu.address_holder = table_.find_by_name(static_cast<name::Name>(sender));
        pdu.source_node = pdu.address_holder ? pdu.address_holder->pdu_source.lock() : nullptr;
        bus_dispatcher_->notify(pdu);
    }
    std::string faces() const
    {
        std::string text;
        for (const auto& node : table_.nodes()) {
            text.push_back(static_cast<char>(node->pdu_source.lock()->name()));
        }
        return text;
    }

    node::Table table_;
};

TEST_P(Working_set_test, ends_with_these_faces)
{
    play(GetParam().script);
    EXPECT_EQ(faces(), GetParam().faces);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Announcement, Working_set_test, testing::Values(
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
    Story{"by_a_stranger_does_not_count",        "x=2 x+b",                     "abcd"},
    Story{"of_another_length_does_not_count",    "a=2 a=3#0 a=3#7 a=3#9 a+c#0 a+c#2 a+c#7 a+c#9 a+b", "aacd"},
    Story{"two_masters_and_the_last_wins",       "a=2 b=3 b+c a+d b+d",         "abbb"},
    Story{"two_masters_and_the_first_wins_back", "a=2 a+d b=2 b+d a=2 a+d",     "abca"},
    Story{"the_late_one_gets_it_the_next_time",  "a=3 a+b a+e *e a=2 a+e",      "aacda"},
    Story{"the_late_one_keeps_its_face",         "a=3 a+b a+e *e a+e",          "aacde"},
    Story{"a_member_speaks_for_its_master",      "a=2 a+b b=3 b+c b+d",         "aaaa"}),
    [](const auto& row) { return row.param.name; });
// clang-format on

TEST_F(Working_set_test, takes_as_many_members_as_a_count_can_tell_and_forgets_the_flood_behind_them)
{
    play("a=255");
    for (name::Name member = 1000; member < 3000; ++member) {
        send('a', pdu::pgn::working_set_member, member == 1253 ? 'b' : member);
        EXPECT_EQ(faces(), member < 1253 ? "abcd" : "aacd");
    }
    EXPECT_LE(table_.find_by_name('a')->working_set_handler()->members().size(), 255U);
}

} // namespace
} // namespace qv::can_bus::working_set
