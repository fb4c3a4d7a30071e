#include "can/network/node/node.h"

#include "can/network/node/manager.h"
#include "can/network/node/test_kit.h"

namespace qv::can_bus::node {
namespace {

using message::Diagnostic_information;
using message::Diagnostic_trouble_code;
using namespace test;
using Texts = std::vector<std::string>;
using Numbers = std::vector<std::uint32_t>;

constexpr name::Name node_name = 0xA000860000000001;

class Node_test : public test::Node_bus_test {
protected:
    Node_test()
    {
        listen(bus_dispatcher_, {Diagnostic_information::id},
               [this](auto& message) { information_.push_back(dynamic_cast<Diagnostic_information&>(message)); });
        listen(bus_dispatcher_, {Diagnostic_trouble_code::id}, [this](auto& message) {
            const auto& codes = dynamic_cast<Diagnostic_trouble_code&>(message);
            codes_ += (codes.kind == Diagnostic_trouble_code::Kind::active ? "active: " : "previous: ") +
                      diagnostic::trouble_code::text(codes.codes) + "\n";
        });
    }
    detail::Manager& manager() { return *node_->manager(); }

    bool detail_manager_enabled() const override { return enabled_; }
    bool can_request() const override { return claimed_; }
    void request(std::uint32_t pgn, const std::shared_ptr<Node>& node) override
    {
        EXPECT_EQ(node, node_);
        requests_.push_back(pgn);
    }

    bool enabled_ = true;
    bool claimed_ = true;
    std::shared_ptr<Node> node_ = Node::create(node_name, *this);
    Numbers requests_;
    std::vector<Diagnostic_information> information_;
    std::string codes_;
};

TEST_F(Node_test, is_asked_four_times_and_reported_once_even_if_it_never_answers)
{
    node_->source_address = 0x80;
    Numbers expected;
    for (const std::uint32_t pgn : {65259U, 64965U, 64653U, 65242U}) {
        pass(499);
        EXPECT_EQ(requests_, expected);
        pass(1);
        expected.push_back(pgn);
        EXPECT_EQ(requests_, expected);
    }
    pass(499);
    EXPECT_TRUE(information_.empty());
    pass(1);
    manager().process_product_identification(chars("late*"));
    pass(10000);
    EXPECT_EQ(requests_, expected);
    ASSERT_EQ(information_.size(), 1U);
    EXPECT_TRUE(information_[0].name == node_name && information_[0].source_address == 0x80);
    EXPECT_EQ(information_[0].identification, Identification{});
}

TEST_F(Node_test, waits_while_no_local_ecu_holds_an_address_and_goes_on_where_it_was)
{
    pass(700); // the step is late, its rest is not carried over
    pass(300);
    claimed_ = false;
    pass(60000);
    EXPECT_EQ(requests_, Numbers{65259});
    claimed_ = true;
    pass(199);
    EXPECT_EQ(requests_, Numbers{65259});
    pass(1);
    EXPECT_EQ(requests_, (Numbers{65259, 64965}));
}

TEST_F(Node_test, asks_nothing_when_its_bus_has_gone_or_the_companion_is_switched_off)
{
    manager().stop();
    enabled_ = false;
    const auto alone = Node::create(node_name, *this);
    EXPECT_TRUE(!alone->manager() && alone->pdu_source.lock() == alone);
    pass(10000);
    EXPECT_EQ(requests_, Numbers{});
}

TEST_F(Node_test, cuts_an_identification_at_its_delimiters)
{
    const std::vector<std::pair<std::string, Texts>> ecu_rows{
        {"p*s*l*t*m*h*", {"p", "s", "l", "t", "m", "h"}},
        {"p*s*l*t*", {"p", "s", "l", "t", "", ""}}, // clears the last two
        {"p**l***h*", {"p", "", "l", "", "", "h"}},
        {"p*s", {"p", "s", "", "", "", ""}},
        {"p*s*l*t*m*h*x*", {"p", "s", "l", "t", "m", "h"}},
        {" p \xFC*\x01", {" p \xFC", "\x01", "", "", "", ""}},
        {std::string("p*s\0x*l*", 8), {"p", "s", "", "", "", ""}}, // a byte 0 ends the text
        {"", {"", "", "", "", "", ""}},
    };
    for (const auto& [payload, expected] : ecu_rows) {
        manager().process_ecu_identification(chars(payload));
        Texts fields;
        for (const auto field : {Field::ecu_part_number, Field::ecu_serial_number, Field::ecu_location,
                                 Field::ecu_type, Field::ecu_manufacturer_name, Field::ecu_hardware_id}) {
            fields.push_back(manager().identification(field));
        }
        EXPECT_EQ(fields, expected) << payload;
    }
    const std::vector<std::pair<std::string, std::string>> software_rows{
        {"\x01V1.0*", "V1.0"},
        {"\x02V1.0*V2.0*", "V1.0; V2.0"},
        {"\x01MAIN#1.0*", "MAIN, 1.0"},
        {"", "MAIN, 1.0"},                     // too short: the former text stays
        {"\x01", "MAIN, 1.0"},                 // likewise
        {std::string("\0X*", 3), "MAIN, 1.0"}, // no field
        {"\x01*", ""},                         // the byte behind the count is the last delimiter
        {"\x7F\xFF\xFF\xFF", "\xFF\xFF"},      // whatever the count says
    };
    for (const auto& [payload, expected] : software_rows) {
        manager().process_software_identification(chars(payload));
        EXPECT_EQ(manager().identification(Field::software_identification), expected);
    }
}

TEST_F(Node_test, decodes_and_reports_each_list_of_trouble_codes)
{
    const std::vector<std::pair<const char*, std::string>> rows{
        // SPN 0x71234: 0x34, 0x12, 7 in the upper three bits; failure mode 3; count 5
        {"FF FF 34 12 E3 05", "SPN 463412  occurrence count 5  failure mode indicator 3"},
        {"FF FF 34 12 E3 05", "SPN 463412  occurrence count 5  failure mode indicator 3"}, // told again
        {"00 00 01 00 1F FF 00 00 00 01 02 00 00 00 AA BB CC",
         "SPN 1  occurrence count 127  failure mode indicator 31, "
         "SPN 2  occurrence count 0  failure mode indicator 0"},
        {"FF FF 00 00 1F 7F", ""}, // SPN 0
        {"FF FF 34 12 E3", ""},    // too short
        {"", ""},
    };
    for (const auto& [payload, text] : rows) {
        manager().process_diagnostic_trouble_codes_active(hex(payload));
        manager().process_diagnostic_trouble_codes_previous_active(hex(payload));
        drain();
        EXPECT_EQ(std::exchange(codes_, ""), "active: " + text + "\nprevious: " + text + "\n");
    }
    EXPECT_TRUE(manager().trouble_codes().active.empty());
}

} // namespace
} // namespace qv::can_bus::node
