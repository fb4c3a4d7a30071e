#include "comm/dispatcher.h"

#include <thread>

#include "comm/test_kit.h"
#include "comm/time_message.h"

namespace qv::comm {
namespace {

using message::Message;
using message::Time_tick;
using message::time_elapsed::Seconds_1;
using message::time_elapsed::Time_elapsed;
using test::Ear;

std::uint32_t elapsed_of(Message& message) { return dynamic_cast<Time_elapsed&>(message).elapsed; }

class Dispatcher_test : public test::Core_test {
protected:
    /// What is heard while one tick passes.
    std::string tick()
    {
        heard.clear();
        pass<Time_tick>(own);
        return heard;
    }
    std::shared_ptr<Ear> listen_and_note(const char* word)
    {
        return listen<Time_tick>(own, [this, word](Message&) { heard += word; });
    }

    std::string heard;
    std::shared_ptr<Dispatcher> own = create_dispatcher("own", true);
};

TEST_F(Dispatcher_test, delivers_once_per_subscription_in_the_order_of_subscription)
{
    const auto a = listen_and_note("a");
    listen_and_note("b");
    a->subscribe();
    EXPECT_EQ(tick(), "aba");
    own->subscribers.remove(Time_tick::id, a);
    EXPECT_EQ(tick(), "ba");
}

TEST_F(Dispatcher_test, drains_what_a_handler_posts_after_the_other_subscribers_of_the_message)
{
    listen<Time_tick>(own, [this](Message&) { own->post(std::make_unique<Seconds_1>()); });
    listen<Seconds_1>(own, [this](Message&) { heard += "posted"; });
    listen_and_note("tick ");
    EXPECT_EQ(tick(), "tick posted");
}

TEST_F(Dispatcher_test, lets_the_changes_of_a_handler_count_from_the_next_message_on)
{
    std::shared_ptr<Ear> old;
    listen<Time_tick>(own, [&](Message&) {
        old->unsubscribe();
        listen_and_note("new");
    });
    old = listen_and_note("old");
    EXPECT_EQ(tick(), "old");
    EXPECT_EQ(tick(), "new");
}

TEST_F(Dispatcher_test, forgets_an_observer_that_goes_while_it_handles_a_message)
{
    std::shared_ptr<Ear> ear;
    ear = std::make_shared<Ear>(own->id(), Time_tick::id, [&](Message&) {
        ear.reset();
        heard += "still here";
    });
    ear->subscribe();
    EXPECT_EQ(tick(), "still here");
    EXPECT_EQ(own->subscribers.count(Time_tick::id), 1U);
    EXPECT_EQ(tick(), "");
    EXPECT_EQ(own->subscribers.count(Time_tick::id), 0U);
}

TEST_F(Dispatcher_test, sends_clones_along_the_routes_and_the_original_along_the_last)
{
    std::vector<const Message*> received;
    for (const auto* name : {"first", "second", "third"}) {
        const auto target = create_dispatcher(name, false);
        listen<Time_elapsed>(target, [&](Message& message) {
            received.push_back(&message);
            EXPECT_EQ(elapsed_of(message), 7U);
        });
    }
    std::unique_ptr<Message> message = std::make_unique<Time_elapsed>(7);
    const Message* original = message.get();
    primary->post(message);
    primary->process_queue();
    for (const auto* name : {"first", "second", "third"}) {
        find_dispatcher_by_name(name)->process_queue();
    }
    ASSERT_EQ(received.size(), 3U);
    EXPECT_NE(received[0], original);
    EXPECT_NE(received[1], original);
    EXPECT_EQ(received[2], original);
}

TEST_F(Dispatcher_test, keeps_a_route_until_its_last_user_leaves)
{
    const auto a = listen_and_note("a");
    const auto b = listen_and_note("b");
    for (const bool reached : {true, false}) {
        (reached ? a : b)->unsubscribe();
        pass<Time_tick>(primary);
        EXPECT_EQ(own->take(Time_tick::id) != nullptr, reached);
    }
}

TEST_F(Dispatcher_test, gives_a_name_to_one_dispatcher_only)
{
    EXPECT_EQ(create_dispatcher("own", false), nullptr);
    EXPECT_EQ(create_dispatcher(dispatcher::primary::name, true), nullptr);
    EXPECT_EQ(find_dispatcher_by_name("own"), own);
    remove_dispatcher(own);
    EXPECT_EQ(find_dispatcher(own->id()), nullptr);
    EXPECT_NE(create_dispatcher("own", false), nullptr);
}

TEST(Master_test, answers_with_nothing_while_there_is_no_core)
{
    EXPECT_EQ(primary_dispatcher(), nullptr);
    EXPECT_EQ(create_dispatcher("x", true), nullptr);
    EXPECT_FALSE(handlers_start("x", flag::time_tick));
    EXPECT_FALSE(start_primary_thread());
    post_to(primary_dispatcher_id(), std::make_unique<Time_tick>());
    std::make_shared<Ear>(0, Time_tick::id, nullptr)->subscribe();
    master_stop();
}

/// Two threads that only ever sleep until the other one's message is there. One lost wake-up and they hang.
TEST_F(Dispatcher_test, never_misses_a_message_between_two_threads)
{
    constexpr std::uint32_t rounds = 5000;
    const auto other = create_dispatcher("other", true);
    std::uint32_t served = 0;
    std::uint32_t returned = 0;
    listen<Time_elapsed>(other, [&](Message& message) {
        served = elapsed_of(message);
        own->post(message.clone());
    });
    listen<Time_elapsed>(own, [&](Message& message) {
        returned = elapsed_of(message);
        if (returned < rounds) {
            other->post(std::make_unique<Time_elapsed>(returned + 1));
        }
    });
    const auto play = [](Dispatcher& dispatcher, const std::uint32_t& count) {
        while (count < rounds) {
            dispatcher.wait_for_message();
            dispatcher.process_queue();
        }
    };
    std::thread thread(play, std::ref(*other), std::cref(served));
    other->post(std::make_unique<Time_elapsed>(1));
    play(*own, returned);
    thread.join();
    EXPECT_EQ(served, returned);
}

} // namespace
} // namespace qv::comm
