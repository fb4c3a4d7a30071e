#include "comm/dispatcher.h"

#include <thread>

#include "comm/broker.h"
#include "comm/shutdown_message.h"
#include "comm/test_kit.h"
#include "comm/time_message.h"

namespace qv::comm {
namespace {

using message::Message;
using message::Time_tick;
using message::shutdown::Application;
using message::time_elapsed::Seconds_1;
using message::time_elapsed::Time_elapsed;
using test::Ear;

class Dispatcher_test : public test::Core_test {
protected:
    Ear::Hear note(const char* word)
    {
        return [this, word](Message&) { heard += word; };
    }
    std::string drained(Dispatcher& dispatcher)
    {
        heard.clear();
        dispatcher.process_queue();
        return heard;
    }
    void post_tick() { own->post(std::make_unique<Time_tick>()); }

    std::string heard;
    std::shared_ptr<Dispatcher> own = create_dispatcher("own", false);
};

TEST_F(Dispatcher_test, delivers_once_per_subscription_in_the_order_of_subscription)
{
    const auto a = listen(own, {Time_tick::id, Time_tick::id}, note("a"));
    listen(own, {Time_tick::id}, note("b"));
    a->subscribe();
    post_tick();
    EXPECT_EQ(drained(*own), "aabaa");
    own->subscribers.remove(Time_tick::id, a);
    own->subscribers.remove(Seconds_1::id, a);
    post_tick();
    EXPECT_EQ(drained(*own), "abaa");
}

TEST_F(Dispatcher_test, drains_what_a_handler_posts_after_the_other_subscribers_of_the_message)
{
    listen(own, {Time_tick::id}, [this](Message&) {
        heard += "a";
        own->post(std::make_unique<Seconds_1>());
    });
    listen(own, {Time_tick::id}, note("b"));
    listen(own, {Seconds_1::id}, note("c"));
    post_tick();
    post_tick();
    EXPECT_EQ(drained(*own), "ababcc");
}

TEST_F(Dispatcher_test, lets_the_changes_of_a_handler_count_from_the_next_message_on)
{
    std::shared_ptr<Ear> late;
    listen(own, {Time_tick::id}, [&](Message&) {
        late->unsubscribe();
        listen(own, {Time_tick::id}, note("new"));
    });
    late = listen(own, {Time_tick::id}, note("old"));
    post_tick();
    EXPECT_EQ(drained(*own), "old");
    post_tick();
    EXPECT_EQ(drained(*own), "new");
}

TEST_F(Dispatcher_test, forgets_an_observer_that_went_without_taking_leave)
{
    auto gone = std::make_shared<Ear>(own->id(), std::vector{Time_tick::id}, note("gone"));
    gone->subscribe();
    listen(own, {Time_tick::id}, note("here"));
    gone.reset();
    post_tick();
    EXPECT_EQ(own->subscribers.count(Time_tick::id), 2U);
    EXPECT_EQ(drained(*own), "here");
    EXPECT_EQ(own->subscribers.count(Time_tick::id), 1U);
}

TEST_F(Dispatcher_test, keeps_an_observer_alive_while_it_handles_a_message)
{
    std::shared_ptr<Ear> ear;
    ear = std::make_shared<Ear>(own->id(), std::vector{Time_tick::id}, [&](Message&) {
        ear.reset();
        heard += "still here";
    });
    ear->subscribe();
    post_tick();
    EXPECT_EQ(drained(*own), "still here");
}

TEST_F(Dispatcher_test, sends_clones_along_the_routes_and_the_original_along_the_last)
{
    std::vector<const Message*> received;
    std::vector<std::shared_ptr<Dispatcher>> targets;
    for (const auto* name : {"first", "second", "third"}) {
        targets.push_back(create_dispatcher(name, false));
        own->add_route(Time_elapsed::id, targets.back()->id());
        listen(targets.back(), {Time_elapsed::id}, [&](Message& message) {
            received.push_back(&message);
            EXPECT_EQ(dynamic_cast<Time_elapsed&>(message).elapsed, 7U);
        });
    }
    auto message = std::make_unique<Time_elapsed>(7);
    const Message* original = message.get();
    own->post(std::move(message));
    own->process_queue();
    for (const auto& target : targets) {
        target->process_queue();
    }
    ASSERT_EQ(received.size(), 3U);
    EXPECT_NE(received[0], original);
    EXPECT_NE(received[1], original);
    EXPECT_EQ(received[2], original);
}

TEST_F(Dispatcher_test, keeps_a_route_until_its_last_user_leaves)
{
    const auto primary = primary_dispatcher();
    const auto reaches_own = [&] {
        Time_tick tick;
        primary->forward(tick);
        return own->take(Time_tick::id) != nullptr;
    };
    const auto a = listen(own, {Time_tick::id}, note("a"));
    const auto b = listen(own, {Time_tick::id}, note("b"));
    a->unsubscribe();
    EXPECT_TRUE(reaches_own());
    b->unsubscribe();
    EXPECT_FALSE(reaches_own());
    b->unsubscribe();
    b->subscribe();
    remove_dispatcher(own);
    EXPECT_FALSE(reaches_own());
}

TEST_F(Dispatcher_test, takes_the_messages_of_one_id_past_the_others)
{
    own->post(nullptr);
    EXPECT_FALSE(own->has_queued());
    post_tick();
    own->post(std::make_unique<Time_elapsed>(1));
    own->post(std::make_unique<Time_elapsed>(2));
    EXPECT_EQ(dynamic_cast<Time_elapsed&>(*own->take(Time_elapsed::id)).elapsed, 1U);
    EXPECT_EQ(dynamic_cast<Time_elapsed&>(*own->take(Time_elapsed::id)).elapsed, 2U);
    EXPECT_EQ(own->take(Time_elapsed::id), nullptr);
    EXPECT_TRUE(own->has_queued());
}

TEST_F(Dispatcher_test, gives_a_name_to_one_dispatcher_only)
{
    EXPECT_EQ(create_dispatcher("own", false), nullptr);
    EXPECT_EQ(create_dispatcher(dispatcher::primary::name, true), nullptr);
    EXPECT_EQ(find_dispatcher_by_name("own"), own);
    EXPECT_EQ(find_dispatcher_by_name("ow"), nullptr);
    remove_dispatcher(own);
    EXPECT_EQ(find_dispatcher(own->id()), nullptr);
    EXPECT_NE(create_dispatcher("own", false), nullptr);
}

TEST_F(Dispatcher_test, calls_the_owner_of_a_broker)
{
    struct Owner {
        void on_tick(Message&) { ++ticks; }
        int ticks = 0;
    } owner;
    ears_.add(observer::make_broker<Time_tick>(&owner, &Owner::on_tick, own->id(), observer::Route::from_primary));
    ears_.add(observer::make_broker<Time_tick, Owner>(&owner, nullptr, own->id()));
    primary_dispatcher()->post(std::make_unique<Time_tick>());
    primary_dispatcher()->process_queue();
    own->process_queue();
    EXPECT_EQ(owner.ticks, 1);
}

TEST(Master_test, answers_with_nothing_while_there_is_no_core)
{
    EXPECT_EQ(primary_dispatcher(), nullptr);
    EXPECT_EQ(create_dispatcher("x", true), nullptr);
    EXPECT_FALSE(handlers_start("x", flag::time_tick));
    post_to(primary_dispatcher_id(), std::make_unique<Time_tick>());
    const auto ear = std::make_shared<Ear>(0, std::vector{Time_tick::id}, [](Message&) {});
    ear->subscribe();
    ear->unsubscribe();
    master_stop();
}

TEST(Message_test, carries_its_id_and_its_body_least_significant_byte_first)
{
    std::vector<std::uint8_t> bytes;
    Time_elapsed(0x0A0B0C0D).serialize(bytes);
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{0x02, 0x00, 0x04, 0, 0, 0, 0, 0, 0x0D, 0x0C, 0x0B, 0x0A}));
    Time_elapsed read(5);
    std::size_t offset = 9;
    read.deserialize(bytes, offset);
    EXPECT_EQ(read.elapsed, 5U) << "three bytes are no body";
    offset = 8;
    read.deserialize(bytes, offset);
    EXPECT_EQ(read.elapsed, 0x0A0B0C0DU);
    EXPECT_EQ(offset, 12U);
}

/// Two threads that only ever sleep until the other one's message is there. One lost wake-up and they hang.
TEST_F(Dispatcher_test, never_misses_a_message_between_two_threads)
{
    constexpr std::uint32_t rounds = 5000;
    const auto ping = create_dispatcher("ping", true);
    const auto pong = create_dispatcher("pong", true);
    std::uint32_t served = 0;
    std::uint32_t returned = 0;
    listen(ping, {Time_elapsed::id}, [&](Message& message) {
        served = dynamic_cast<Time_elapsed&>(message).elapsed;
        post_to(pong->id(), message.clone());
    });
    listen(pong, {Time_elapsed::id}, [&](Message& message) {
        returned = dynamic_cast<Time_elapsed&>(message).elapsed;
        if (returned < rounds) {
            post_to(ping->id(), std::make_unique<Time_elapsed>(returned + 1));
        }
    });
    const auto play = [](Dispatcher& dispatcher, const std::uint32_t& count) {
        while (count < rounds) {
            dispatcher.wait_for_message();
            dispatcher.process_queue();
        }
    };
    std::thread other(play, std::ref(*ping), std::cref(served));
    ping->post(std::make_unique<Time_elapsed>(1));
    play(*pong, returned);
    other.join();
    EXPECT_EQ(served, rounds);
    EXPECT_EQ(returned, rounds);
}

} // namespace
} // namespace qv::comm
