#include "can/network/node/node.h"

#include "can/network/node/manager.h"
#include "can/network/node/table.h"
#include "can/network/node/test_kit.h"

namespace qv::can_bus::node {
namespace {

using message::Diagnostic_information;
using message::Diagnostic_trouble_code;
using test::chars;
using test::hex;
using Texts = std::vector<std::string>;
using Numbers = std::vector<std::uint32_t>;

constexpr name::Name node_name = 0xA000860000000001;

class Node_test : public test::Network_test, public Bus_port {
protected:
    void SetUp() override
    {
        bus_dispatcher_ = comm::create_dispatcher("bus", false);
        listen(bus_dispatcher_, {Diagnostic_information::id, Diagnostic_trouble_code::id}, [this](auto& message) {
            if (const auto* information = dynamic_cast<Diagnostic_information*>(&message)) {
                information_.push_back(*information);
            } else {
                const auto& codes = dynamic_cast<Diagnostic_trouble_code&>(message);
                codes_.push_back(
                    (codes.kind == Diagnostic_trouble_code::Kind::active ? "active: " : "previous: ") +
                    diagnostic::trouble_code::text(codes.codes));
            }
        });
        node_ = Node::create(node_name, *this);
        node_->source_address = 0x80;
    }
    detail::Manager& manager() { return *node_->manager(); }
    std::string field(Field which) { return manager().identification(which); }

    comm::Dispatcher_id dispatcher_id() const override { return bus_dispatcher_->id(); }
    bool detail_manager_enabled() const override { return enabled_; }
    bool can_request() const override { return claimed_; }
    void request(std::uint32_t pgn, const std::shared_ptr<Node>& node) override
    {
        EXPECT_EQ(node, node_);
        requests_.push_back(pgn);
    }

    bool enabled_ = true;
    bool claimed_ = true;
    std::shared_ptr<Node> node_;
    Numbers requests_;
    std::vector<Diagnostic_information> information_;
    Texts codes_;
};

TEST_F(Node_test, is_asked_four_times_and_reported_once_even_if_it_never_answers)
{
    pass(5000);
    EXPECT_EQ(requests_, Numbers{}); // it has no address yet
    manager().address_known();
    Numbers expected;
    for (const std::uint32_t pgn : {65259U, 64965U, 64653U, 65242U}) {
        pass(499);
        EXPECT_EQ(requests_, expected);
        pass(1);
        expected.push_back(pgn);
        EXPECT_EQ(requests_, expected);
        manager().address_known(); // a further claim
    }
    pass(499);
    EXPECT_TRUE(information_.empty());
    pass(1);
    ASSERT_EQ(information_.size(), 1U);
    EXPECT_EQ(information_[0].name, node_name);
    EXPECT_EQ(information_[0].source_address, 0x80U);
    EXPECT_EQ(information_[0].identification, Identification{});
    manager().address_known();
    manager().process_product_identification(chars("late*"));
    pass(10000);
    EXPECT_EQ(requests_, expected);
    EXPECT_EQ(information_.size(), 1U);
}

TEST_F(Node_test, waits_while_no_local_ecu_holds_an_address_and_goes_on_where_it_was)
{
    manager().address_known();
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
    manager().address_known();
    manager().stop();
    pass(10000);
    enabled_ = false;
    node_ = Node::create(node_name, *this);
    EXPECT_FALSE(node_->manager());
    EXPECT_EQ(node_->pdu_source.lock(), node_);
    pass(10000);
    EXPECT_EQ(requests_, Numbers{});
}

TEST_F(Node_test, cuts_the_ecu_identification_at_the_delimiters)
{
    const std::vector<std::pair<std::string, Texts>> rows{
        {"p*s*l*t*m*h*", {"p", "s", "l", "t", "m", "h"}},
        {"p*s*l*t*", {"p", "s", "l", "t", "", ""}}, // clears the last two
        {"p**l***h*", {"p", "", "l", "", "", "h"}},
        {"p*s", {"p", "s", "", "", "", ""}},
        {"p*s*l*t*m*h*x*", {"p", "s", "l", "t", "m", "h"}},
        {" p \xFC*\x01", {" p \xFC", "\x01", "", "", "", ""}},
        {std::string("p*s\0x*l*", 8), {"p", "s", "", "", "", ""}}, // a byte 0 ends the text
        {"", {"", "", "", "", "", ""}},
    };
    for (const auto& [payload, expected] : rows) {
        manager().process_ecu_identification(chars(payload));
        EXPECT_EQ(
            (Texts{field(Field::ecu_part_number), field(Field::ecu_serial_number), field(Field::ecu_location),
                   field(Field::ecu_type), field(Field::ecu_manufacturer_name), field(Field::ecu_hardware_id)}),
            expected)
            << payload;
    }
}

TEST_F(Node_test, reads_the_software_identification)
{
    const std::vector<std::pair<std::string, std::string>> rows{
        {"\x01V1.0*", "V1.0"},
        {"\x02V1.0*V2.0*", "V1.0; V2.0"},
        {"\x01MAIN#1.0*", "MAIN, 1.0"},
        {"", "MAIN, 1.0"},                     // too short: the former text stays
        {"\x01", "MAIN, 1.0"},                 // likewise
        {std::string("\0X*", 3), "MAIN, 1.0"}, // no field
        {"\x01*", ""},                         // the byte behind the count is the last delimiter
        {"\x7F\xFF\xFF\xFF", "\xFF\xFF"},      // whatever the count says
    };
    for (const auto& [payload, expected] : rows) {
        manager().process_software_identification(chars(payload));
        EXPECT_EQ(field(Field::software_identification), expected);
    }
}

TEST_F(Node_test, decodes_and_reports_each_list_of_trouble_codes)
{
    const std::vector<std::pair<std::string, std::string>> rows{
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
    Texts expected;
    for (const auto& [payload, text] : rows) {
        manager().process_diagnostic_trouble_codes_active(hex(payload));
        manager().process_diagnostic_trouble_codes_previous_active(hex(payload));
        drain();
        expected.push_back("active: " + text);
        expected.push_back("previous: " + text);
        EXPECT_EQ(codes_, expected);
    }
    EXPECT_TRUE(manager().trouble_codes().active.empty());
}

TEST_F(Node_test, table_finds_nodes_by_address_and_name_and_sorts_them_in_a_stable_way)
{
    Table table;
    EXPECT_FALSE(table.find_by_address(0));
    for (const std::uint32_t address : {254U, 3U, 254U, 1U, 128U}) {
        auto node = Node::create(table.nodes().size(), *this);
        node->source_address = address;
        table.append(node);
    }
    table.sort();
    EXPECT_EQ(table.nodes()[3]->name(), 0U); // 0 and 2 both stand at 254, in their order
    EXPECT_EQ(table.nodes()[4]->name(), 2U);
    EXPECT_EQ(table.find_by_address(3)->name(), 1U);
    EXPECT_FALSE(table.find_by_address(2));
    EXPECT_FALSE(table.find_by_address(255));
    EXPECT_EQ(table.find_by_name(4)->source_address, 128U);
    EXPECT_FALSE(table.find_by_name(5));
}

} // namespace
} // namespace qv::can_bus::node
