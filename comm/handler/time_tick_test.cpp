#include "comm/handler/time_tick.h"

#include "comm/test_kit.h"
#include "comm/time_message.h"

namespace qv::comm {
namespace {

using namespace message::time_elapsed;

/// All of it happens about the wrap of the clock.
constexpr time::Milliseconds start = 0xFFFFFFFF - 40;
time::Milliseconds clock_reading = start;

using Time_tick_test = test::Core_test;

/// One tick posts the elapsed time, and an "s", "m" or "l" for a short, medium or long period that has ended.
TEST_F(Time_tick_test, counts_the_time_between_two_readings)
{
    const std::pair<time::Milliseconds, const char*> steps[] = {
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
        {200'558, "503sm"},     // each period has its own sum
        {201'055, "497sl"},     //
        {201'058, "3m"},        //
    };
    std::string heard;
    clock_reading = start;
    ears_.add(std::make_shared<handler::Time_tick>(primary->id(), []() noexcept { return clock_reading; }));
    listen<Time_elapsed>(primary, [&](message::Message& message) {
        heard += std::to_string(dynamic_cast<Time_elapsed&>(message).elapsed);
    });
    listen<Milliseconds_020>(primary, [&](message::Message&) { heard += "s"; });
    listen<Milliseconds_500>(primary, [&](message::Message&) { heard += "m"; });
    listen<Seconds_1>(primary, [&](message::Message&) { heard += "l"; });
    for (const auto& [now, posted] : steps) {
        clock_reading = start + now;
        heard.clear();
        pass<message::Time_tick>(primary);
        EXPECT_EQ(heard, posted) << "at " << now;
    }
}

} // namespace
} // namespace qv::comm
