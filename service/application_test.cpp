#include "service/application.h"

#include "comm/shutdown_message.h"
#include "comm/test_kit.h"
#include "comm/time_message.h"

namespace qv::can_bus::flr {
namespace {

using Application_test = comm::test::Core_test;

/// The message comes once: whoever waits for it although it has gone by waits for ever.
TEST_F(Application_test, ends_also_when_the_stop_came_before_it_listened)
{
    ASSERT_TRUE(comm::handlers_start("", comm::flag::shutdown));
    pass<comm::message::shutdown::Trigger>(primary);
    for (int tick = 0; tick < 25; ++tick) {
        pass<comm::message::time_elapsed::Milliseconds_020>(primary);
    }
    Application application;
    ASSERT_TRUE(application.init());
    ASSERT_TRUE(comm::core_is_stopping()) << "the run would not end";
    EXPECT_EQ(application.run(), -1);
    EXPECT_TRUE(application.deinit());
}

} // namespace
} // namespace qv::can_bus::flr
