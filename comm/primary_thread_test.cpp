#include "comm/primary_thread.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "comm/shutdown_message.h"
#include "comm/test_kit.h"
#include "comm/time_message.h"
#include "framework/thread/handle.h"

namespace qv::comm {
namespace {

using message::Message;
using message::shutdown::Application;
using message::time_elapsed::Time_elapsed;
using test::Ear;
using thread::Ending;
using thread::Handle;

constexpr std::uint32_t all_handlers = flag::shutdown | flag::thread_handle | flag::time_tick;

std::atomic<int> running_threads{0};
std::atomic<int> started_workers{0};
std::atomic<std::uint32_t> time_heard{0};

void start(void (*function)(), Ending ending = Ending::join)
{
    ASSERT_TRUE(thread::argument_less::start(std::make_shared<Handle>("worker"), function, ending));
}

/// A thread as the system has them: its own dispatcher, ticks and the stop by routes.
void worker()
{
    ++running_threads;
    ++started_workers;
    bool running = true;
    const auto own = create_dispatcher("worker", true);
    observer::Observer_list ears;
    ears.add(std::make_shared<Ear>(own->id(), std::vector{Application::id}, [&](Message&) { running = false; }));
    ears.add(std::make_shared<Ear>(own->id(), std::vector{Time_elapsed::id}, [](Message& message) {
        time_heard += dynamic_cast<Time_elapsed&>(message).elapsed;
    }));
    while (running) {
        own->wait_for_message();
        own->process_queue();
    }
    ears.clear();
    remove_dispatcher(own);
    --running_threads;
}

void wait_for(const std::atomic<int>& value, int wanted)
{
    while (value != wanted) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void start_core()
{
    ASSERT_TRUE(core_start(0));
    ASSERT_TRUE(handlers_start("", all_handlers));
}

TEST(Primary_thread_test, gives_time_to_other_threads_until_the_trigger_ends_them_all)
{
    start_core();
    time_heard = 0;
    ASSERT_TRUE(start_primary_thread());
    start(&worker);
    wait_for(running_threads, 1);
    send_shutdown_trigger();
    wait_for(running_threads, 0);
    EXPECT_GE(time_heard, 450U);
    master_stop();
}

TEST(Primary_thread_test, needs_a_core) { EXPECT_FALSE(start_primary_thread()); }

/// The stop comes at any moment of a start: before the primary thread runs, before a worker has subscribed to
/// the news, while other threads look up and post.
TEST(Primary_thread_test, starts_and_stops_a_thousand_times_at_any_moment)
{
    std::atomic<bool> over{false};
    std::thread bystander([&] {
        while (!over) {
            send_shutdown_trigger();
            find_dispatcher_by_name("worker");
            std::this_thread::sleep_for(std::chrono::microseconds(20));
        }
    });
    for (int cycle = 0; cycle < 1000; ++cycle) {
        start_core();
        if (cycle % 2 == 0) {
            ASSERT_TRUE(start_primary_thread());
        }
        if (cycle % 3 != 0) {
            start(&worker);
            wait_for(running_threads, 1);
        }
        master_stop();
        ASSERT_EQ(running_threads, 0) << "a thread outlived the core in cycle " << cycle;
    }
    over = true;
    bystander.join();
    EXPECT_EQ(Dispatcher::instance_count_current(), 0U);
}

TEST(Thread_handle_test, waits_for_threads_that_others_start_during_the_stop)
{
    start_core();
    start([] {
        ++running_threads;
        while (!core_is_stopping()) {
            std::this_thread::yield();
        }
        started_workers = 0;
        start(&worker);
        wait_for(started_workers, 1);
        --running_threads;
    });
    wait_for(running_threads, 1);
    master_stop();
    EXPECT_EQ(running_threads, 0);
}

TEST(Thread_handle_test, lets_go_of_a_thread_that_ended_by_itself)
{
    start_core();
    auto handle = std::make_shared<Handle>("short");
    const std::weak_ptr<Handle> observed = handle;
    static std::atomic<bool> released;
    released = false;
    ASSERT_TRUE(thread::argument_less::start(
        handle,
        [] {
            while (!released) {
                std::this_thread::yield();
            }
        },
        Ending::join));
    handle.reset();
    const auto primary = primary_dispatcher();
    while (!primary->has_queued()) {
        std::this_thread::yield();
    }
    primary->process_queue();
    EXPECT_FALSE(observed.expired());
    released = true;
    while (!observed.expired()) {
        primary->process_queue();
    }
    master_stop();
}

TEST(Thread_handle_test, cancels_a_thread_that_was_started_to_be_cancelled_and_waits_for_its_end)
{
    struct Mark {
        Mark() { ++running_threads; }
        ~Mark() { --running_threads; }
    };
    start_core();
    start(
        [] {
            const Mark mark;
            for (;;) {
                std::this_thread::sleep_for(std::chrono::seconds(1));
            }
        },
        Ending::cancel);
    wait_for(running_threads, 1);
    master_stop();
    EXPECT_EQ(running_threads, 0);
}

} // namespace
} // namespace qv::comm
