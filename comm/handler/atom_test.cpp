#include "comm/handler/atom.h"

#include <unistd.h>

#include "comm/shutdown_message.h"
#include "comm/test_kit.h"
#include "comm/time_message.h"

namespace qv::comm {
namespace {

class Atom_handler_test : public test::Core_test, public testing::WithParamInterface<const char*> {};

/// On the primary dispatcher, and on another one that the ticks reach by a route.
INSTANTIATE_TEST_SUITE_P(Dispatchers, Atom_handler_test, testing::Values(dispatcher::primary::name, "own"));

TEST_P(Atom_handler_test, asks_once_for_a_stop_when_its_token_is_removed)
{
    create_dispatcher("own", false);
    const auto own = find_dispatcher_by_name(GetParam());
    const auto name = "atom_handler_test_" + std::to_string(::getpid());
    int triggers = 0;
    listen<message::shutdown::Trigger>(primary, [&](message::Message&) { ++triggers; });
    ears_.add(std::make_shared<handler::Atom>(own->id(), name));
    for (int half_second = 0; half_second < 3; ++half_second) {
        EXPECT_EQ(triggers, half_second == 2 ? 1 : 0);
        if (half_second == 1) {
            EXPECT_TRUE(qv::Atom(name).remove()) << "the handler makes its token";
        }
        pass<message::time_elapsed::Milliseconds_500>(primary);
        own->process_queue();
        primary->process_queue();
    }
    EXPECT_EQ(triggers, 1);
}

} // namespace
} // namespace qv::comm
