#include "can/network/bus.h"

#include <gmock/gmock.h>

#include "can/hardware/test_kit.h"
#include "can/network/bus_message.h"
#include "can/network/ecu/test_kit.h"
#include "can/network/node/manager.h"
#include "can/network/tractor_ecu_message.h"
#include "config/primary.h"
#include "framework/file/scratch_folder.h"
#include "framework/thread/signal.h"

namespace qv::can_bus::bus {
namespace {

using namespace test;

constexpr name::Name own_name = 0xA000810012E00007;
constexpr name::Name node_name = 0xC000820012E00007;
constexpr name::Name tractor_name = 0xA000860000000001; ///< industry group 2, function 134, instance 0

class Bus_test : public Frame_test {
protected:
    void SetUp() override { create_bus(); }
    void create_bus()
    {
        bus_ = Bus::create(properties_, signal_, [](Bus& bus) {
            return std::make_shared<Frame_entry>(bus.dispatcher_id(), bus.nodes(),
                                                 [&bus](name::Name name) { return bus.create_node(name); });
        });
        ASSERT_TRUE(bus_);
        bus_dispatcher_ = bus_->dispatcher();
        watch_frames();
        listen(bus_dispatcher_, {message::ECU_create_response::id}, [this](auto& message) {
            const auto& response = dynamic_cast<message::ECU_create_response&>(message);
            created_ = response.ecu;
            EXPECT_TRUE(!created_ || created_->name() == response.name);
        });
    }
    void TearDown() override
    {
        ears_.clear();
        bus_dispatcher_.reset();
        bus_.reset();
    }
    void drain() override
    {
        if (!bus_) {
            return;
        }
        Network_test::drain();
        for (const auto& ecu : bus_->ecus()) {
            ecu->dispatcher()->process_queue();
            Network_test::drain();
        }
    }
    std::shared_ptr<ecu::ECU> create_ecu(name::Name name, const std::string& model_name)
    {
        ecu::properties::Properties properties;
        properties.model_name = model_name;
        post(std::make_unique<message::ECU_create>(name, properties));
        return std::exchange(created_, nullptr);
    }

    properties::Properties properties_;
    std::shared_ptr<thread::signal::Signal> signal_ = thread::signal::Signal::create();
    std::unique_ptr<Bus> bus_;
    std::shared_ptr<ecu::ECU> created_;
};

TEST_F(Bus_test, asks_each_new_node_who_it_is_and_keeps_the_answers)
{
    std::vector<std::pair<name::Name, node::Identification>> reports;
    listen(bus_dispatcher_, {node::message::Diagnostic_information::id}, [&](auto& message) {
        const auto& report = dynamic_cast<node::message::Diagnostic_information&>(message);
        reports.emplace_back(report.name, report.identification);
    });
    const auto own = create_ecu(own_name, "own");
    receive(claim_text(0x80, node_name));
    after(10000, {}); // there is an ECU, without an address
    hold(*own, 249);  // its own node is asked as well, off the wire
    after(499, {});
    after(1, {"18EA80F9 EB FE 00"});
    pass(500);
    receive("18FEEB80 41 2A 42 2A 43 2A 44 2A");
    after(0, {"18EA80F9 C5 FD 00"});
    pass(500);
    receive("18FC8D80 63 2A 62 2A 6D 2A"); // before it was asked
    after(0, {"18EA80F9 8D FC 00"});
    after(500, {"18EA80F9 DA FE 00"});
    receive_each({"1CECFF80 20 0A 00 02 FF DA FE 00", // BAM: 10 bytes in 2 packets
                  "1CEBFF80 01 02 56 31 2A 56 32 23", "1CEBFF80 02 58 59 2A FF FF FF FF"});
    EXPECT_TRUE(reports.empty());
    after(500, {});
    const node::Identification told{"A", "B", "D", "C", "", "", "", "", "", "", "b", "c", "m", "V1; V2, XY"};
    const node::Identification own_told{"", "own", "-", "7", "-", "-", "-", "-", "7", "-", "-", "-", "own", ""};
    EXPECT_THAT(reports, testing::UnorderedElementsAre(std::pair(node_name, told), std::pair(own_name, own_told)));
}

TEST_F(Bus_test, keeps_no_identification_of_more_than_32_kib)
{
    receive(claim_text(0x80, node_name));
    const auto node = bus_->nodes().find_by_name(node_name);
    for (const std::size_t size : {32768U, 32769U}) {
        const Byte_array payload = chars(std::string(size, 'x'));
        post(std::make_unique<frame::message::Received>(payload.bytes(), 0x18FEDA80));
        // without the count of fields and the last delimiter
        EXPECT_EQ(node->manager()->identification(node::Field::software_identification).size(), 32766U);
    }
}

TEST_F(Bus_test, creates_ecus_in_order_that_wake_its_thread_and_deletes_them)
{
    const auto has_ecus = [this](std::initializer_list<name::Name> names) {
        return std::ranges::equal(bus_->ecus(), names, {}, &ecu::ECU::name);
    };
    EXPECT_FALSE(bus_->first_ecu());
    EXPECT_TRUE(create_ecu(1, "a"));
    std::weak_ptr<ecu::ECU> second = create_ecu(2, "b");
    EXPECT_TRUE(create_ecu(3, "c"));
    EXPECT_FALSE(create_ecu(4, "b")); // its dispatchers would have the names of the second one's
    EXPECT_FALSE(create_ecu(4, "CAN bus"));
    EXPECT_TRUE(has_ecus({1, 2, 3}));

    std::vector<bool> found;
    listen(bus_dispatcher_, {message::ECU_delete_response::id}, [&](auto& message) {
        const auto& response = dynamic_cast<message::ECU_delete_response&>(message);
        found.push_back(response.ecu != nullptr);
        EXPECT_TRUE(!response.ecu || (response.name == 2 && response.ecu->name() == 2));
    });
    // what still waits in its queue, and in that of the bus, must not keep it
    second.lock()->report<ecu::message::address::Claimed>();
    bus_dispatcher_->post(std::make_unique<message::ECU_delete>(2));
    post(std::make_unique<message::ECU_delete>(2));
    EXPECT_EQ(found, (std::vector<bool>{true, false}));
    EXPECT_TRUE(has_ecus({1, 3}));
    EXPECT_TRUE(second.expired());
    EXPECT_TRUE(create_ecu(4, "b"));
    for (const char* name : {"CAN bus", "CAN bus PDU", "CAN bus request", "b"}) { // a post wakes the bus thread
        EXPECT_EQ(comm::find_dispatcher_by_name(name)->signal(), signal_) << name;
    }
}

TEST_F(Bus_test, tells_the_speed_of_the_tractor_and_each_change_of_its_key_switch)
{
    using tractor_ecu::message::Key_switch_state_changed;
    using namespace tractor_ecu::message::speed_distance;
    std::vector<std::vector<std::uint32_t>> told; ///< for each message its id and its values
    listen(bus_dispatcher_, {Ground_0::id}, [&](auto& message) {
        const auto& v = dynamic_cast<Ground_0&>(message).values;
        told.push_back({Ground_0::id, v.speed, v.distance, v.direction});
    });
    listen(bus_dispatcher_, {Wheel_0::id}, [&](auto& message) {
        const auto& v = dynamic_cast<Wheel_0&>(message).values;
        told.push_back({Wheel_0::id, v.speed, v.distance, v.direction, v.key_switch, v.start_stop,
                        v.operator_direction_reversed, v.maximum_time_of_tractor_power});
    });
    listen(bus_dispatcher_, {Key_switch_state_changed::id}, [&](auto& message) {
        told.push_back({Key_switch_state_changed::id, dynamic_cast<Key_switch_state_changed&>(message).state});
    });
    const auto expect = [&](const std::string& frame, const decltype(told)& expected) {
        receive(frame);
        EXPECT_EQ(std::exchange(told, {}), expected) << frame;
    };
    receive(claim_text(0xF0, tractor_name));
    receive(claim_text(0xF1, tractor_name | name::compose({.function_instance = 1})));
    receive(claim_text(0xF2, tractor_name | name::compose({.device_class = 1})));
    receive(claim_text(0xF3, tractor_name | name::compose({.function = 1})));
    receive(claim_text(0xF4, tractor_name | name::compose({.industry_group = 1})));

    expect("0CFE49F0 34 12 78 56 34 12 FF FD", {{Ground_0::id, 4660, 305419896, 1}});
    expect("0CFE48F0 34 12 78 56 34 12 0A B5", {{Wheel_0::id, 4660, 305419896, 1, 1, 3, 2, 10}}); // 1: as at first
    expect("0CFE48F0 00 00 00 00 00 00 00 02",
           {{Wheel_0::id, 0, 0, 2, 0, 0, 0, 0}, {Key_switch_state_changed::id, 0}});
    expect("0CFE48F0 00 00 00 00 00 00 00 02", {{Wheel_0::id, 0, 0, 2, 0, 0, 0, 0}});
    receive_each({"0CFE48F0 00 00 00 00 00 00 00", "0CFE49F0 00 00 00 00 00 00 00"}); // too short
    expect("0CFE49F0", {});
    for (const char* other : {"F1", "F2", "F3", "F4", "F5"}) {
        expect(std::string("0CFE49") + other + " 34 12 78 56 34 12 FF FD", {});
        expect(std::string("0CFE48") + other + " 34 12 78 56 34 12 0A B5", {});
    }
}

TEST_F(Bus_test, shows_each_pdu_and_what_it_means_when_asked_to)
{
    const std::string line = "1 5 0fe0d  80      2 02 41  .A  ";
    // clang-format off
    const struct { bool log, annotate, trace; log::Level level; Texts lines; } rows[] = {
        {false, true, true, 5, {}}, {true, true, false, 4, {}}, {true, false, false, 5, {line}},
        {true, true, true, 5, {line + "working set master  2 member (incl. master)"}}};
    // clang-format on
    for (const auto& row : rows) {
        TearDown();
        const hardware::test::Log_lines log(row.level);
        properties_.pdu_log_enabled = row.log;
        properties_.pdu_log_annotate = row.annotate;
        properties_.pdu_trace = row.trace;
        create_bus();
        testing::internal::CaptureStdout();
        receive("18FE0D80 02 41");
        EXPECT_THAT(testing::internal::GetCapturedStdout(),
                    testing::MatchesRegex(row.trace ? "pdu  [ 0-9]{8,10}  0fe0d  80      2 02 41  \\.A\n" : ""));
        EXPECT_EQ(log.lines, row.lines);
        EXPECT_EQ(log.clients.at(0), "CAN bus");
    }
}

TEST_F(Bus_test, is_not_made_without_its_names_or_its_frame_entry_and_leaves_nothing_behind)
{
    const auto create = [this](const Bus::Frame_entry_factory& factory) {
        return Bus::create(properties_, signal_, factory);
    };
    EXPECT_FALSE(create(nullptr)); // the first one has the names
    TearDown();
    EXPECT_FALSE(create([](Bus&) { return nullptr; }));
    for (const char* name : {"CAN bus", "CAN bus PDU", "CAN bus request"}) {
        const auto blocker = comm::create_dispatcher(name, false);
        ASSERT_TRUE(blocker) << name;
        EXPECT_FALSE(create(nullptr)) << name;
        comm::remove_dispatcher(blocker);
    }
    EXPECT_TRUE(create(nullptr));
}

TEST_F(Bus_test, leaves_ecus_and_nodes_that_others_still_hold_behind_in_silence)
{
    const auto ecu = create_ecu(own_name, "own");
    receive(claim_text(0x80, node_name));
    const auto node = bus_->nodes().find_by_name(node_name);
    hold(*ecu, 249);
    bus_dispatcher_->post(std::make_unique<message::ECU_delete_response>(own_name, ecu));
    TearDown();
    EXPECT_FALSE(ecu->is_claimed());
    ecu->transmit(node, 6, 0xEF00, hex("01").bytes(), true);
    pass(600); // the sequence of the node's requests, and the ECU's timers
    EXPECT_EQ(ecu.use_count(), 1);
    EXPECT_FALSE(comm::find_dispatcher_by_name("own"));
}

TEST(Bus_properties, come_from_the_configuration_which_fills_itself)
{
    const file::test::Scratch_folder folder;
    EXPECT_EQ(properties::read().title, "CAN bus"); // no configuration
    ASSERT_TRUE(config::create_primary(folder / "bus.xml"));
    auto& document = *config::primary_configuration();
    document.set_boolean(document.find_object("can_bus/pdu", true), "trace", true);
    document.set_boolean(document.find_object("can_bus/pdu/log", true), "annotate", true);
    document.set_decimal(document.find_object("can_bus/address_claim/requester", true), "time_threshold", 5);
    const properties::Properties read = properties::read();
    EXPECT_TRUE(read.pdu_trace && read.pdu_log_annotate && !read.pdu_log_enabled && read.time_threshold == 5);
    EXPECT_EQ(document.get_decimal(document.find_object("can_bus/node", false), "timeout", 0, false), 3600000U);
    config::destroy_primary();
}

} // namespace
} // namespace qv::can_bus::bus
