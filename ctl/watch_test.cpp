#include "ctl/watch.h"

#include <gtest/gtest.h>

#include "ctl/display.h"

namespace ctl {
namespace {

using namespace std::chrono_literals;
using Verdict = Watch::Verdict;

/// A session as its reports tell it.
class Watch_test : public testing::Test {
protected:
    Verdict report(State state, int progress = 0) { return watch.on_status({state, progress, {}}, now); }
    void pass(Time time) { now += time; }
    void is_begun() { watch = Watch(true); }

    Time now = 1000s;
    Watch watch{false};
};

TEST_F(Watch_test, takes_idle_after_the_start_for_a_change_of_the_bit_rate_for_a_minute)
{
    is_begun();
    EXPECT_EQ(report(State::bootloader_pending), Verdict::running);
    EXPECT_EQ(report(State::idle), Verdict::running);
    pass(59s);
    EXPECT_EQ(report(State::idle), Verdict::running);
    EXPECT_EQ(plain_line(watch.moment()), "changing the bit rate");
    EXPECT_EQ(report(State::bootloader_pending), Verdict::running);
    pass(10s);
    EXPECT_EQ(report(State::idle), Verdict::running);
    pass(60s);
    EXPECT_EQ(report(State::idle), Verdict::unseen);
}

TEST_F(Watch_test, ends_with_the_result_and_tells_what_idle_means_by_what_came_before)
{
    EXPECT_EQ(report(State::idle), Verdict::no_session);
    EXPECT_EQ(report(State::programming), Verdict::running);
    EXPECT_EQ(report(State::idle), Verdict::unseen);
    EXPECT_EQ(report(State::complete), Verdict::running) << "the result is being prepared";
    EXPECT_EQ(report(State::idle), Verdict::succeeded);
    EXPECT_EQ(report(State::complete_ack), Verdict::succeeded);
    EXPECT_EQ(report(State::failure), Verdict::failed);
    is_begun();
    EXPECT_EQ(report(State::idle), Verdict::running) << "between the start and the first report";
}

TEST_F(Watch_test, measures_each_step_anew_by_its_last_seconds)
{
    report(State::erasing, 10);
    pass(1s);
    report(State::erasing, 20);
    EXPECT_EQ(watch.moment().rate, 10.0);
    EXPECT_EQ(watch.moment().left, 8s);
    report(State::programming, 20);
    EXPECT_EQ(watch.moment().rate, std::nullopt);
    pass(20s);
    report(State::programming, 30);
    EXPECT_EQ(watch.moment().rate, 0.5);
    for (int percent = 32; percent <= 62; percent += 2) {
        pass(1s);
        report(State::programming, percent);
    }
    EXPECT_EQ(watch.moment().rate, 2.0) << "the slow beginning no longer counts";
    EXPECT_EQ(watch.moment().left, 19s);
    pass(15s);
    report(State::programming, 62);
    EXPECT_LT(watch.moment().rate, 1.1) << "a step that stands still gets slower";
}

TEST_F(Watch_test, shows_a_bar_that_fits_its_line)
{
    report(State::programming, 0);
    pass(14s);
    report(State::programming, 42);
    EXPECT_EQ(plain_line(watch.moment()), "programming 42 %, 3.0 %/s, 20 s left");
    EXPECT_EQ(bar_line(watch.moment(), 79),
              "programming                 [#####--------]  42 %     3.0 %/s         20 s left");
    EXPECT_EQ(bar_line(watch.moment(), 79, true),
              "programming                 [#############] 100 %     3.0 %/s           in 14 s");
    EXPECT_EQ(bar_line(watch.moment(), 62), "programming                 42 %     3.0 %/s         20 s left");
    EXPECT_EQ(bar_line(watch.moment(), 15), "programming    ");
    EXPECT_EQ(bar_line(watch.moment(), 0), "");
    report(State::restart_pending, 0);
    pass(3s);
    report(State::restart_pending, 20);
    EXPECT_EQ(bar_line(watch.moment(), 79), "waiting for the ECU         gives up in 12 s");
    EXPECT_EQ(plain_line(watch.moment()), "waiting for the ECU");
    report(State::programming, 2'000'000'000);
    EXPECT_EQ(plain_line(watch.moment()), "programming 100 %");
    report(static_cast<State>(99), -1);
    EXPECT_EQ(plain_line(watch.moment()), "unknown state 99");
    EXPECT_EQ(time_text(125s) + ", " + time_text(3725s), "2 min 05 s, 1 h 02 min");
}

} // namespace
} // namespace ctl
