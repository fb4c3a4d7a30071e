#include "comm/handler/time_tick.h"

#include "comm/test_kit.h"
#include "comm/time_message.h"

namespace qv::comm {
namespace {

using namespace message::time_elapsed;

/// All of it happens about the wrap of the clock.
constexpr time::Milliseconds start = 0xFFFFFFFF - 40;
time::Milliseconds clock_reading = start;

class Time_tick_test : public test::Core_test {
protected:
    Time_tick_test()
    {
        clock_reading = start;
        ears_.add(std::make_shared<handler::Time_tick>(primary->id(), []() noexcept { return clock_reading; }));
        listen(primary, {Time_elapsed::id, Milliseconds_020::id, Milliseconds_500::id, Seconds_1::id},
               [this](message::Message& message) { note(message); });
    }
    /// What one tick posts `now` ms after the start: the elapsed time, and an "s", "m" or "l" for a short,
    /// medium or long period that has ended.
    std::string at(time::Milliseconds now)
    {
        clock_reading = start + now;
        heard.clear();
        primary->post(std::make_unique<message::Time_tick>());
        primary->process_queue();
        return heard;
    }
    void note(message::Message& message)
    {
        if (const auto* elapsed = dynamic_cast<const Time_elapsed*>(&message)) {
            heard += std::to_string(elapsed->elapsed);
        } else {
            heard += std::string("sml").substr(message.get_assigned_id() - Milliseconds_020::id, 1);
        }
    }

    std::shared_ptr<Dispatcher> primary = primary_dispatcher();
    std::string heard;
};

struct Step {
    time::Milliseconds now;
    const char* heard;
};

TEST_F(Time_tick_test, counts_the_time_between_two_readings)
{
    const Step steps[] = {
        {0, ""},                // the clock stands still
        {2, ""},                // too little, counted by the next
        {4, "4"},               //
        {3, ""},                // the clock went back
        {29, "25s"},            // 29 accumulated: the 9 beyond the period are dropped
        {48, "19"},             //
        {49, ""},               //
        {51, "3s"},             //
        {100'052, ""},          // a jump: not counted
        {100'055, "3"},         //
        {200'055, "100000sml"}, // the longest step that counts
        {200'058, "3"},         //
    };
    for (const auto& step : steps) {
        EXPECT_EQ(at(step.now), step.heard) << "at " << step.now;
    }
}

TEST_F(Time_tick_test, ends_each_period_when_its_own_sum_is_full)
{
    std::string periods;
    for (time::Milliseconds now = 125; now <= 2000; now += 125) {
        periods += at(now).substr(3);
    }
    EXPECT_EQ(periods, "ssssmssssmlssssmssssml");
}

} // namespace
} // namespace qv::comm
