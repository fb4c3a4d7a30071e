#include "comm/timeout.h"

#include <gtest/gtest.h>

namespace qv::timeout {
namespace {

TEST(Cyclic_test, takes_the_overshoot_off_the_next_period)
{
    Cyclic<500> timer;
    EXPECT_FALSE(timer.ends_within(490));
    EXPECT_TRUE(timer.ends_within(30));
    EXPECT_EQ(timer.remaining(), 480U);
    EXPECT_FALSE(timer.ends_within(479));
    EXPECT_TRUE(timer.ends_within(1));
    EXPECT_EQ(timer.remaining(), 500U);
    EXPECT_TRUE(timer.ends_within(1000)) << "more than a period late";
    EXPECT_EQ(timer.remaining(), 500U);
}

} // namespace
} // namespace qv::timeout
