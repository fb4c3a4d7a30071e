#include "comm/handler/shutdown.h"

#include "comm/test_kit.h"
#include "comm/time_message.h"

namespace qv::comm {
namespace {

using message::shutdown::Application;
using message::shutdown::Token;
using message::shutdown::Token_record;
using message::shutdown::Trigger;

struct Case {
    const char* name;
    std::uint32_t timeout_ms; ///< of the token; 0: no token
    unsigned released_at;     ///< tick before which the owner lets it go; 0: never
    unsigned stops_at;        ///< tick that posts the stop, counted from the trigger
};

class Shutdown_test : public test::Core_test, public testing::WithParamInterface<Case> {
protected:
    Shutdown_test()
    {
        ears_.add(std::make_shared<handler::Shutdown>(primary->id()));
        listen<Application>(primary, [this](message::Message&) { stopped = true; });
    }
    void tick() { pass<message::time_elapsed::Milliseconds_020>(primary); }

    bool stopped = false;
};

TEST_P(Shutdown_test, stops_when_grace_and_tokens_allow_it)
{
    const auto& row = GetParam();
    std::shared_ptr<Token_record> token;
    for (int idle = 0; idle < 100; ++idle) {
        tick();
    }
    if (row.timeout_ms != 0) {
        token = std::make_shared<Token_record>(Token_record{"saving", row.timeout_ms});
        primary->post(std::make_unique<Token>(token));
        primary->process_queue();
    }
    EXPECT_FALSE(stopped);
    pass<Trigger>(primary);
    for (unsigned count = 1; count <= row.stops_at; ++count) {
        EXPECT_FALSE(stopped) << "before tick " << count;
        if (count == row.released_at) {
            token.reset();
        }
        tick();
        pass<Trigger>(primary); // a second request changes nothing
    }
    EXPECT_TRUE(stopped);
}

INSTANTIATE_TEST_SUITE_P(Tokens, Shutdown_test,
                         testing::Values(Case{"none", 0, 0, 25}, Case{"released_early", 2000, 5, 25},
                                         Case{"released_late", 2000, 50, 50}, Case{"never_released", 2000, 0, 100},
                                         Case{"short", 300, 0, 25}),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace qv::comm
