#include "can/network/bus.h"

#include <filesystem>
#include <map>

#include <gmock/gmock.h>
#include <unistd.h>

#include "can/network/bus_message.h"
#include "can/network/ecu/ecu_message.h"
#include "can/network/ecu/test_kit.h"
#include "can/network/node/manager.h"
#include "can/network/tractor_ecu_message.h"
#include "config/primary.h"
#include "framework/thread/signal.h"

namespace qv::can_bus::bus {
namespace {

using test::claim_text;
using test::hex;
using test::Texts;

constexpr name::Name own_name = 0xA000810012E00007;
constexpr name::Name node_name = 0xC000820012E00007;
constexpr name::Name tractor_name = 0xA000860000000001; ///< industry group 2, function 134, instance 0

/// Keeps the log up to a level as lines "client level text".
class Log_lines final : public log::Sink {
public:
    explicit Log_lines(log::Level highest)
        : highest_(highest)
    {
        log::set_sink(this);
    }
    ~Log_lines() override { log::set_sink(nullptr); }
    bool accepts(log::Level level) const override { return level <= highest_; }
    void write(log::Level level, log::Client client, string::Utf_8_string text) override
    {
        lines.push_back(std::to_string(client) + " " + std::to_string(level) + " " + text.to_utf_8_string());
    }
    log::Client register_client(std::string_view name) override { return name == "CAN bus" ? 7 : 1; }

    Texts lines;

private:
    log::Level highest_;
};

class Bus_test : public test::Frame_test {
protected:
    void SetUp() override { create_bus(); }
    void create_bus()
    {
        bus_ = Bus::create(properties_, signal_, [](Bus& bus) {
            return std::make_shared<test::Frame_entry>(bus.dispatcher_id(), bus.nodes(), [&bus](name::Name name) {
                auto node = bus.create_node(name);
                node->manager()->address_known();
                return node;
            });
        });
        ASSERT_TRUE(bus_);
        bus_dispatcher_ = bus_->dispatcher();
        watch_frames();
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
        std::shared_ptr<ecu::ECU> created;
        const auto ear = listen(bus_dispatcher_, {message::ECU_create_response::id}, [&](auto& message) {
            const auto& response = dynamic_cast<message::ECU_create_response&>(message);
            EXPECT_EQ(response.name, name);
            EXPECT_EQ(response.properties.model_name, model_name);
            created = response.ecu;
        });
        post(std::make_unique<message::ECU_create>(name, properties));
        ear->unsubscribe();
        return created;
    }

    properties::Properties properties_;
    std::shared_ptr<thread::signal::Signal> signal_ = thread::signal::Signal::create();
    std::unique_ptr<Bus> bus_;
};

TEST_F(Bus_test, asks_each_new_node_who_it_is_and_keeps_the_answers)
{
    std::map<name::Name, std::vector<node::Identification>> reports;
    listen(bus_dispatcher_, {node::message::Diagnostic_information::id}, [&](auto& message) {
        const auto& report = dynamic_cast<node::message::Diagnostic_information&>(message);
        reports[report.name].push_back(report.identification);
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
    EXPECT_EQ(reports[node_name], std::vector{told});
}

TEST_F(Bus_test, keeps_no_identification_of_more_than_32_kib)
{
    receive(claim_text(0x80, node_name));
    const auto node = bus_->nodes().find_by_name(node_name);
    for (const std::size_t size : {32768U, 32769U}) {
        const Byte_array payload = test::chars(std::string(size, 'x'));
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
    using Numbers = std::vector<std::vector<std::uint32_t>>; ///< for each message its id and its values
    Numbers told;
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
    const auto expect = [&](const std::string& frame, const Numbers& expected) {
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
    for (const char* frame : {"0CFE48F0 00 00 00 00 00 00 00", "0CFE49F0 00 00 00 00 00 00 00", "0CFE49F0"}) {
        expect(frame, {});
    }
    for (const char* other : {"F1", "F2", "F3", "F4", "F5"}) {
        expect(std::string("0CFE49") + other + " 34 12 78 56 34 12 FF FD", {});
        expect(std::string("0CFE48") + other + " 34 12 78 56 34 12 0A B5", {});
    }
}

TEST_F(Bus_test, writes_each_pdu_to_the_standard_output_when_asked_to)
{
    TearDown();
    properties_.pdu_trace = true;
    create_bus();
    testing::internal::CaptureStdout();
    receive("18EA2380 41 00");
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::MatchesRegex("pdu  [ 0-9]{8,10}  0ea00  80->23  2 41 00  A\\.\n"));
}

TEST_F(Bus_test, logs_each_pdu_and_what_it_means_when_asked_to)
{
    struct Row {
        bool enable, annotate;
        log::Level level;
        Texts lines;
    };
    const std::string line = "7 5 0fe0d  80      2 02 ff  .?  ";
    for (const auto& row : {Row{false, true, 5, {}},
                            {true, true, 4, {}},
                            {true, false, 5, {line}},
                            {true, true, 5, {line + "working set master  2 member (incl. master)"}}}) {
        TearDown();
        Log_lines log(row.level);
        properties_.pdu_log_enabled = row.enable;
        properties_.pdu_log_annotate = row.annotate;
        create_bus();
        receive("18FE0D80 02 FF");
        EXPECT_EQ(log.lines, row.lines);
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
    const auto path = std::filesystem::temp_directory_path() / ("bus_" + std::to_string(::getpid()) + ".xml");
    EXPECT_EQ(properties::read().title, "CAN bus"); // no configuration
    ASSERT_TRUE(config::create_primary(path.string()));
    auto& document = *config::primary_configuration();
    config::Object* const bus = document.find_object("can_bus", true);
    document.set_boolean(document.find_object("pdu", true, bus), "trace", true);
    document.set_boolean(document.find_object("pdu/log", true, bus), "annotate", true);
    document.set_decimal(document.find_object("address_claim/requester", true, bus), "time_threshold", 5);
    const properties::Properties read = properties::read();
    EXPECT_TRUE(read.pdu_trace);
    EXPECT_TRUE(read.pdu_log_annotate);
    EXPECT_FALSE(read.pdu_log_enabled);
    EXPECT_EQ(read.time_threshold, 5U);
    EXPECT_EQ(document.get_decimal(document.find_object("node", false, bus), "timeout", 0, false), 3600000U);
    config::destroy_primary();
    for (const char* suffix : {"", ".backup", ".temp"}) {
        std::filesystem::remove(path.string() + suffix);
    }
}

} // namespace
} // namespace qv::can_bus::bus
