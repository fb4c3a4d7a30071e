#include "can/bus/bus_thread.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include <arpa/inet.h>

#include "can/bus/application.h"
#include "can/hardware/frame_message.h"
#include "can/network/bus_message.h"
#include "can/network/pdu/pdu.h"
#include "comm/shutdown_message.h"
#include "comm/test_kit.h"
#include "comm/time_message.h"
#include "config/object.h"
#include "config/primary.h"
#include "framework/log_hook.h"
#include "framework/socket/address.h"
#include "framework/socket/socket.h"
#include "framework/thread/pause.h"

namespace qv::can_bus::application {
namespace {

using namespace std::chrono_literals;
using bus_thread::Bus_thread;
using comm::message::time_elapsed::Time_elapsed;

std::atomic<int> modules_alive{0};
std::atomic<bool> bus_outlived_module{false};

/// Tells of its life, when a test wants it to.
class Test_module final : public bus_thread::module::Module {
public:
    explicit Test_module(comm::Dispatcher_id bus)
        : bus_(bus)
    {
        ++modules_alive;
    }
    ~Test_module() override
    {
        bus_outlived_module = comm::find_dispatcher(bus_) != nullptr;
        --modules_alive;
    }
    std::string name() const override { return "test"; }

private:
    comm::Dispatcher_id bus_;
};

const bool module_entered = bus_thread::module::Registry::instance().add(
    [](comm::Dispatcher_id bus) -> std::unique_ptr<bus_thread::module::Module> {
        return std::make_unique<Test_module>(bus);
    });
const bool nothing_entered = bus_thread::module::Registry::instance().add(
    [](comm::Dispatcher_id) -> std::unique_ptr<bus_thread::module::Module> { return nullptr; });

bool await(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

/// The real thread in a core whose time the test moves. Requests are made from a dispatcher of the test.
class Bus_thread_test : public comm::test::Core_test {
protected:
    ~Bus_thread_test() override { stop(); }

    void start()
    {
        thread = std::thread(&Bus_thread::thread_static);
        ASSERT_TRUE(await([] { return modules_alive == 1; }));
        bus = comm::find_dispatcher_by_name("CAN bus");
        ASSERT_NE(bus, nullptr);
    }
    void stop()
    {
        if (thread.joinable()) {
            comm::primary_dispatcher()->post(std::make_unique<comm::message::shutdown::Application>());
            comm::primary_dispatcher()->process_queue();
            thread.join();
        }
    }
    /// One tick, for all who listen on the bus thread.
    static void tick(std::uint32_t milliseconds)
    {
        comm::primary_dispatcher()->post(std::make_unique<Time_elapsed>(milliseconds));
        comm::primary_dispatcher()->process_queue();
    }
    /// The next message that comes to the test.
    std::unique_ptr<comm::message::Message> answer(comm::message::Id id)
    {
        std::unique_ptr<comm::message::Message> message;
        EXPECT_TRUE(await([&] { return (message = own->take(id)) != nullptr; }));
        return message;
    }
    template <class Response, class Request, class... Arguments> Response ask(Arguments... arguments)
    {
        bus->post(std::make_unique<Request>(own->id(), arguments...));
        return dynamic_cast<Response&>(*answer(Response::id));
    }

    std::shared_ptr<comm::Dispatcher> own = comm::create_dispatcher("test", true);
    std::shared_ptr<comm::Dispatcher> bus;
    std::thread thread;
};

TEST_F(Bus_thread_test, answers_about_the_device_and_its_logging)
{
    using namespace bus::message;
    using Get = Get_logging_type_response;
    start();
    const auto logging = [this] { return ask<Get, Get_logging_type_request>().type; };
    const auto set_logging = [this](std::uint32_t type) {
        return ask<Set_logging_type_response, Set_logging_type_request>(type).success;
    };
    EXPECT_EQ((ask<Get_interface_description_response, Get_interface_description_request>().description),
              "can stub");
    EXPECT_EQ(logging(), Logging_type::none);
    EXPECT_TRUE(set_logging(1));
    EXPECT_FALSE(set_logging(2));
    EXPECT_EQ(logging(), Logging_type::all_frames);
    EXPECT_TRUE(set_logging(0));
    EXPECT_EQ(logging(), Logging_type::none);
}

TEST_F(Bus_thread_test, reports_the_counters_each_500_ms_on_average)
{
    using bus::message::CAN_state;
    start();
    bus->add_route(CAN_state::id, own->id());
    bus->post(std::make_unique<frame::message::Transmitted>(std::array<std::uint8_t, 2>{}, 0x18FEDA80, 255));
    const auto next_state = [this] { return dynamic_cast<CAN_state&>(*answer(CAN_state::id)); };
    tick(600);
    const CAN_state first = next_state();
    EXPECT_EQ(first.interval, 0U);
    EXPECT_EQ(first.counts.transmitted, 1U);
    EXPECT_EQ(first.counts.received, 0U);
    EXPECT_EQ(first.counts.transmit_failures, 0U);
    tick(399); // the overshoot shortens this period to 400
    tick(7);
    EXPECT_EQ(next_state().interval, 406U);
    EXPECT_EQ(own->take(CAN_state::id), nullptr);
    bus->remove_route(CAN_state::id, own->id());
}

TEST_F(Bus_thread_test, ends_at_the_stop_with_its_modules_before_the_bus)
{
    start();
    stop();
    EXPECT_EQ(modules_alive, 0);
    EXPECT_TRUE(bus_outlived_module);
    EXPECT_FALSE(comm::find_dispatcher_by_name("CAN bus"));
}

TEST_F(Bus_thread_test, ends_at_once_when_the_bus_cannot_be_made)
{
    const auto other = comm::create_dispatcher("CAN bus", false);
    Bus_thread::thread_static();
    EXPECT_EQ(modules_alive, 0);
    EXPECT_EQ(comm::find_dispatcher_by_name("CAN bus"), other);
    comm::remove_dispatcher(other);
}

/// The same with a router at the other end.
class Bus_thread_router_test : public Bus_thread_test {
protected:
    static constexpr const char* client_name = "CAN bus router client";

    Bus_thread_router_test()
    {
        std::string folder = std::filesystem::temp_directory_path() / "bus_thread_test.XXXXXX";
        folder_ = ::mkdtemp(folder.data());
        EXPECT_TRUE(listening_.listen_on(socket::loopback_address(), AF_INET, 0, true, true));
        EXPECT_TRUE(config::create_primary(folder_ / "settings.xml"));
        config::List& document = *config::primary_configuration_pointer();
        document.set_text(document.find_object("can_bus/hardware", true), "type", "router");
        document.set_decimal(document.find_object("can_bus/hardware/ip", true), "port", listening_.port());
    }
    ~Bus_thread_router_test() override
    {
        stop();
        config::destroy_primary();
        std::filesystem::remove_all(folder_);
        EXPECT_TRUE(await([] { return !is_running(" receiver") && !is_running(" transmitter"); }));
    }

    static bool is_running(const char* suffix)
    {
        return comm::find_dispatcher_by_name(std::string(client_name) + suffix) != nullptr;
    }
    void connect()
    {
        start();
        ASSERT_TRUE(await([] { return is_running(" receiver") && is_running(" transmitter"); }));
        comm::primary_dispatcher()->post(std::make_unique<comm::message::time_elapsed::Milliseconds_500>());
        comm::primary_dispatcher()->process_queue();
        ASSERT_TRUE(listening_.accept(router));
    }
    /// Sends a record and waits until it lies before the bus thread, which then gets a single tick.
    void send(std::array<std::uint8_t, 13> record)
    {
        const auto client = comm::find_dispatcher_by_name(client_name);
        EXPECT_TRUE(router.write(record.data(), record.size()));
        EXPECT_TRUE(await([&] { return client->has_queued(); }));
        tick(3);
        EXPECT_TRUE(await([&] { return !client->has_queued(); }));
    }

    socket::Socket router{false, "router"};

private:
    std::filesystem::path folder_;
    socket::Socket listening_{false, "listening router"};
};

TEST_F(Bus_thread_router_test, moves_frames_up_and_down_within_a_tick)
{
    connect();
    const auto pdus = comm::find_dispatcher_by_name("CAN bus PDU");
    pdus->add_route(0xEE00, own->id());
    pdus->add_route(0xFEDA, own->id());
    pdus->add_route(0xEA00, own->id());
    ASSERT_TRUE(await([] { return comm::find_dispatcher_by_name(client_name)->has_queued(); }));
    tick(3);
    answer(0xEA00); // the request that comes with the connection
    send({0x80, 0xFF, 0xEE, 0x98, 8, 0xA1});
    EXPECT_EQ(dynamic_cast<pdu::PDU&>(*answer(0xEE00)).source_node->name(), 0xA1U);
    send({0x80, 0xDA, 0xFE, 0x98, 2, 1, 2});
    EXPECT_EQ(dynamic_cast<pdu::PDU&>(*answer(0xFEDA)).data, (Byte_array{1, 2}));

    bus->post(std::make_unique<frame::message::Transmitted>(std::array<std::uint8_t, 1>{7}, 0x18EF80FE, 0x80));
    std::array<std::uint8_t, 26> records{}; // no tick is needed
    for (std::size_t size = 0, count = 0; size < 26 && records[size < 13 ? 2 : 15] != 0xEF; size += count) {
        count = records.size() - size;
        ASSERT_TRUE(router.read(records.data() + size, count));
    }
    const std::size_t last = records[2] == 0xEF ? 0 : 13; // behind the request, unless that came too early
    EXPECT_EQ((std::vector<std::uint8_t>(records.begin() + static_cast<std::ptrdiff_t>(last),
                                         records.begin() + static_cast<std::ptrdiff_t>(last + 6))),
              (std::vector<std::uint8_t>{0xFE, 0x80, 0xEF, 0x98, 1, 7}));
}

TEST_F(Bus_thread_router_test, survives_a_flood_of_garbage)
{
    connect();
    std::uint32_t seed = 1;
    for (int block = 0; block < 200; ++block) {
        std::array<std::uint8_t, 1300> bytes;
        for (std::size_t index = 0; index < bytes.size(); ++index) {
            seed = seed * 1664525 + 1013904223;
            bytes[index] = static_cast<std::uint8_t>(seed >> 24);
        }
        for (std::size_t index = 0; index < bytes.size(); index += 26) { // half of them frames, often claims
            bytes[index + 4] &= 0x0F;
            bytes[index + 3] = 0x98;
            bytes[index + 2] = (bytes[index + 2] & 1) != 0 ? 0xEE : bytes[index + 2];
        }
        ASSERT_TRUE(router.write(bytes.data(), bytes.size()));
        tick(3);
    }
    using namespace bus::message;
    EXPECT_NE((ask<Get_interface_description_response, Get_interface_description_request>().description), "");
}

/// An application that stops the system when it runs.
class Stopping_wrapper final : public qv::application::run_wrapper::Run_wrapper {
public:
    int run() override
    {
        EXPECT_TRUE(await([] { return modules_alive == 1; }));
        comm::send_shutdown_trigger();
        return 7;
    }
    bool init() override { return true; }
    bool deinit() override { return true; }
};

TEST(Bus_application, runs_until_the_stop_and_leaves_no_thread_behind)
{
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(comm::core_start(0));
        ASSERT_TRUE(comm::handlers_start("test", comm::flag::shutdown | comm::flag::thread_handle |
                                                     comm::flag::time_tick));
        Application application(std::make_shared<Stopping_wrapper>());
        ASSERT_TRUE(application.init());
        EXPECT_EQ(application.run(), 7);
        EXPECT_TRUE(application.deinit());
        comm::master_stop();
        EXPECT_EQ(modules_alive, 0);
    }
}

TEST(Bus_application, stops_right_after_its_start)
{
    for (int round = 0; round < 20; ++round) {
        ASSERT_TRUE(comm::core_start(0));
        ASSERT_TRUE(comm::handlers_start("test", comm::flag::thread_handle | comm::flag::time_tick));
        {
            Application application(nullptr);
            ASSERT_TRUE(application.init());
            EXPECT_TRUE(application.deinit());
            comm::master_stop();
        }
        EXPECT_EQ(modules_alive, 0);
        EXPECT_EQ(comm::dispatcher::Dispatcher::instance_count_current(), 0U);
    }
}

TEST(Bus_application, does_not_start_without_a_core)
{
    Application application(nullptr);
    EXPECT_FALSE(application.init());
    EXPECT_EQ(application.run(), -1);
}

} // namespace
} // namespace qv::can_bus::application
