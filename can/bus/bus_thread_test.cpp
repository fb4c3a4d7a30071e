#include "can/bus/bus_thread.h"

#include "can/bus/application.h"
#include "can/hardware/frame_message.h"
#include "can/hardware/test_kit.h"
#include "can/network/bus_message.h"
#include "can/network/pdu/pdu.h"
#include "config/object.h"
#include "config/primary.h"
#include "framework/file/scratch_folder.h"

namespace qv::can_bus::application {
namespace {

using namespace bus::message;
using bus_thread::Bus_thread;
using bus_thread::module::Module;
using comm::message::time_elapsed::Time_elapsed;
using namespace hardware::test;

std::atomic<int> modules_alive{0};

struct Test_module final : Module {
    Test_module() { ++modules_alive; }
    /// Needs the bus to its end; what it finds without one spoils the count for good.
    ~Test_module() override { modules_alive -= comm::find_dispatcher_by_name("CAN bus") != nullptr ? 1 : 100; }
    std::string title() const override { return "test"; }
};

const bool entered = bus_thread::module::Registry::instance().add(
    [](comm::Dispatcher_id) -> std::unique_ptr<Module> { return std::make_unique<Test_module>(); });
const bool nothing_entered = bus_thread::module::Registry::instance().add(
    [](comm::Dispatcher_id) -> std::unique_ptr<Module> { return nullptr; });

/// The real thread with a router at the other end, in a core whose time the test moves. Requests are made from a
/// dispatcher of the test.
class Bus_thread_test : public testing::Test {
protected:
    Bus_thread_test()
    {
        EXPECT_TRUE(config::create_primary(folder_ / "settings.xml"));
        config::List& document = *config::primary_configuration_pointer();
        document.set_text(document.find_object("can_bus/hardware", true), "type", "router");
        document.set_decimal(document.find_object("can_bus/hardware/ip", true), "port", router.port());
        thread_ = std::thread(&Bus_thread::thread_static);
        EXPECT_TRUE(await([] { return modules_alive == 1; }) && router.accept());
        bus = comm::find_dispatcher_by_name("CAN bus");
    }
    ~Bus_thread_test() override
    {
        announce<comm::message::shutdown::Application>();
        thread_.join();
        EXPECT_TRUE(await([] { return !client_thread("receiver") && !client_thread("transmitter"); }));
        comm::master_stop();
        config::destroy_primary();
    }

    /// The next message of this kind that comes to the test.
    template <class Message> Message next(comm::message::Id id)
    {
        std::unique_ptr<comm::message::Message> message;
        EXPECT_TRUE(await([&] { return (message = own->take(id)) != nullptr; }));
        return dynamic_cast<Message&>(*message);
    }
    template <class Request, class Response, class... Arguments> Response ask(Arguments... arguments)
    {
        bus->post(std::make_unique<Request>(own->id(), arguments...));
        return next<Response>(Response::id);
    }
    /// Gives the bus thread a single tick once something lies before it.
    static void tick()
    {
        const auto client = comm::find_dispatcher_by_name("CAN bus router client");
        ASSERT_TRUE(await([&] { return client->has_queued(); }));
        announce<Time_elapsed>(3U);
        ASSERT_TRUE(await([&] { return !client->has_queued(); }));
    }

    const bool started_ = comm::core_start(0);
    std::shared_ptr<comm::Dispatcher> own = comm::create_dispatcher("test", true);
    std::shared_ptr<comm::Dispatcher> bus;
    Router router;

private:
    const file::test::Scratch_folder folder_;
    std::thread thread_;
};

TEST_F(Bus_thread_test, answers_about_the_device_and_reports_its_counters_each_500_ms_on_average)
{
    EXPECT_EQ((ask<Get_interface_description_request, Get_interface_description_response>().description),
              "CAN bus router client 127.0.0.1:" + std::to_string(router.port()));
    auto expected = Logging_type::none;
    for (const std::uint32_t type : {2U, 1U, 2U, 0U}) {
        EXPECT_EQ((ask<Get_logging_type_request, Get_logging_type_response>().type), expected);
        EXPECT_EQ((ask<Set_logging_type_request, Set_logging_type_response>(type).success), type < 2);
        expected = type < 2 ? Logging_type{type} : expected;
    }
    bus->add_route(CAN_state::id, own->id());
    bus->post(std::make_unique<frame::message::Transmitted>(std::array<std::uint8_t, 2>{}, 0x18FEDA80, 255));
    announce<Time_elapsed>(600U);
    const auto first = next<CAN_state>(CAN_state::id);
    EXPECT_EQ(first.interval, 0U);
    EXPECT_EQ(first.counts.transmitted, 1U);
    announce<Time_elapsed>(399U); // the overshoot shortens this period to 400
    announce<Time_elapsed>(7U);
    EXPECT_EQ(next<CAN_state>(CAN_state::id).interval, 406U);
}

TEST_F(Bus_thread_test, moves_frames_up_within_a_tick_and_down_without_one)
{
    Bus_thread::thread_static(); // a second one, which cannot make its bus, ends at once and takes nothing away
    EXPECT_EQ(comm::find_dispatcher_by_name("CAN bus"), bus);
    for (const comm::message::Id pgn : {0xEE00U, 0xFEDAU, 0xEA00U}) {
        comm::find_dispatcher_by_name("CAN bus PDU")->add_route(pgn, own->id());
    }
    tick();
    next<pdu::PDU>(0xEA00); // the request that comes with the connection
    router.send({0x80, 0xFF, 0xEE, 0x98, 8, 0xA1, 0, 0, 0, 0, 0, 0, 0});
    tick();
    EXPECT_EQ(next<pdu::PDU>(0xEE00).source_node->name(), 0xA1U);
    router.send({0x80, 0xDA, 0xFE, 0x98, 2, 1, 2, 0, 0, 0, 0, 0, 0});
    tick();
    EXPECT_EQ(next<pdu::PDU>(0xFEDA).data, (Byte_array{1, 2}));

    bus->post(std::make_unique<frame::message::Transmitted>(std::array<std::uint8_t, 1>{7}, 0x18EF80FE, 0x80));
    EXPECT_EQ(router.receive_record(), (Bytes{0xFE, 0x80, 0xEF, 0x98, 1, 7, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(Bus_application, runs_until_the_stop_and_leaves_no_thread_behind_though_it_begins_late)
{
    using namespace comm::flag;
    for (const bool runs : {true, false}) { // also right after its start
        ASSERT_TRUE(comm::core_start(0) && comm::handlers_start("test", shutdown | thread_handle | time_tick));
        delay_bus_threads();
        {
            Application application(nullptr);
            ASSERT_TRUE(application.init());
            if (runs) {
                EXPECT_TRUE(await([] { return modules_alive == 1; }));
                comm::send_shutdown_trigger();
                EXPECT_EQ(application.run(), -1) << "the result of no inner layer";
            }
            EXPECT_TRUE(application.deinit());
            comm::master_stop();
            EXPECT_EQ(late_threads, 1) << "the core waits for it";
            EXPECT_EQ(modules_alive, 0) << "or one outlived the bus";
        }
        EXPECT_EQ(comm::dispatcher::Dispatcher::instance_count_current(), 0U);
    }
}

} // namespace
} // namespace qv::can_bus::application
