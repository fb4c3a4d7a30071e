#include "comm/primary_thread.h"

#include <atomic>
#include <chrono>
#include <thread>

#include <unistd.h>

#include "comm/shutdown_message.h"
#include "comm/test_kit.h"
#include "framework/thread/handle.h"

namespace qv::comm {
namespace {

using message::Message;
using message::shutdown::Application;
using test::Ear;
using thread::Ending;
using thread::Handle;

std::atomic<int> running_threads{0};
std::atomic<int> started_workers{0};

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
    ears.add(std::make_shared<Ear>(own->id(), Application::id, [&](Message&) { running = false; }));
    while (running) {
        own->wait_for_message();
        own->process_queue();
    }
    ears.clear();
    remove_dispatcher(own);
    --running_threads;
}

void wait_for(const std::function<bool()>& condition)
{
    while (!condition()) {
        std::this_thread::yield();
    }
}

void start_core()
{
    ASSERT_TRUE(core_start(0));
    ASSERT_TRUE(handlers_start("", flag::shutdown | flag::thread_handle | flag::time_tick));
}

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
        ASSERT_TRUE(cycle % 2 == 0 || start_primary_thread());
        if (cycle % 3 != 0) {
            start(&worker);
            wait_for([] { return running_threads == 1; });
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
    started_workers = 0;
    start([] {
        ++running_threads;
        wait_for(&core_is_stopping);
        start(&worker);
        wait_for([] { return started_workers == 1; });
        --running_threads;
    });
    wait_for([] { return running_threads == 1; });
    master_stop();
    EXPECT_EQ(running_threads, 0);
}

TEST(Thread_handle_test, lets_go_of_a_thread_that_ended_by_itself)
{
    start_core();
    auto handle = std::make_shared<Handle>("short");
    const std::weak_ptr<Handle> observed = handle;
    ASSERT_TRUE(thread::argument_less::start(
        handle, [] {}, Ending::join));
    handle.reset();
    wait_for([&] {
        primary_dispatcher()->process_queue();
        return observed.expired();
    });
    master_stop();
}

TEST(Thread_handle_test, cancels_a_thread_that_was_started_to_be_cancelled_and_waits_for_its_end)
{
    start_core();
    start(
        [] {
            const std::shared_ptr<void> at_end(nullptr, [](void*) { --running_threads; });
            ++running_threads;
            ::pause();
        },
        Ending::cancel);
    wait_for([] { return running_threads == 1; });
    master_stop();
    EXPECT_EQ(running_threads, 0);
}

} // namespace
} // namespace qv::comm
