#include "comm/handler/atom.h"

#include <unistd.h>

#include "comm/shutdown_message.h"
#include "comm/test_kit.h"
#include "comm/time_message.h"

namespace qv::comm {
namespace {

using Atom_handler_test = test::Core_test;

TEST_F(Atom_handler_test, asks_once_for_a_stop_when_its_token_is_removed)
{
    int triggers = 0;
    listen<message::shutdown::Trigger>(primary, [&](message::Message&) { ++triggers; });
    for (const auto& own : {primary, create_dispatcher("own", false)}) { // the ticks reach that one by a route
        const auto name = "atom_handler_test_" + std::to_string(::getpid()) + own->name();
        ears_.add(std::make_shared<handler::Atom>(own->id(), name));
        for (int half_second = 0; half_second < 4; ++half_second, triggers = 0) {
            EXPECT_TRUE(half_second != 1 || qv::Atom(name).remove()) << "the handler makes its token";
            pass<message::time_elapsed::Milliseconds_500>(primary);
            own->process_queue();
            primary->process_queue();
            EXPECT_EQ(triggers, half_second == 1 ? 1 : 0);
        }
    }
}

} // namespace
} // namespace qv::comm
