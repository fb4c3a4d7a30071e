#include "comm/handler/shutdown.h"

#include <algorithm>
#include <string>
#include <vector>

#include "comm/test_kit.h"
#include "comm/time_message.h"
#include "framework/log/test_kit.h"

namespace qv::comm {
namespace {

using namespace message::shutdown;

struct Case {
    std::uint32_t timeout_ms; ///< of the token; 0: no token
    unsigned released_at;     ///< tick before which the owner lets it go; 0: never
    unsigned stops_at;        ///< tick that posts the stop, counted from the trigger
};

class Shutdown_test : public test::Core_test, public testing::WithParamInterface<Case> {};

/// No token; one released early, late, never; a short one.
INSTANTIATE_TEST_SUITE_P(Tokens, Shutdown_test,
                         testing::Values(Case{0, 0, 25}, Case{2000, 5, 25}, Case{2000, 50, 50}, Case{2000, 0, 100},
                                         Case{300, 0, 25}));

TEST_P(Shutdown_test, stops_when_grace_and_tokens_allow_it_and_logs_why)
{
    const log::test::Lines log;
    const auto [timeout_ms, released_at, stops_at] = GetParam();
    unsigned stops = 0;
    ears_.add(std::make_shared<handler::Shutdown>(primary->id()));
    listen<Application>(primary, [&](message::Message&) { ++stops; });
    auto token = std::make_shared<Token_record>(Token_record{"saving", timeout_ms});
    if (timeout_ms != 0) {
        primary->post(std::make_unique<Token>(token));
    }
    constexpr unsigned idle = 100;
    for (unsigned tick = 1; tick <= idle + stops_at; ++tick) {
        EXPECT_EQ(stops, 0U) << "before tick " << tick;
        if (tick > idle) {
            pass<Trigger>(primary); // each but the first changes nothing
        }
        if (tick == idle + released_at && released_at != 0) {
            token.reset();
        }
        pass<message::time_elapsed::Milliseconds_020>(primary);
    }
    EXPECT_EQ(stops, 1U);

    std::vector<std::string> lines{"16 7 shutdown triggered"};
    if (timeout_ms != 0) {
        const auto time = std::to_string(timeout_ms);
        lines.insert(lines.begin(), "16 0 shutdown token saving timeout " + time); // the handler has no number yet
        if (released_at != 0) {
            lines.emplace_back("16 7 shutdown token saving cleared");
        } else {
            lines.insert(lines.end(),
                         {"2 7 shutdown: token(s) timed out (" + std::to_string(std::max(timeout_ms, 500U)) + ")",
                          "2 7 \tsaving"});
        }
    }
    lines.emplace_back("16 7 shutdown application");
    EXPECT_EQ(log.lines, lines);
}

} // namespace
} // namespace qv::comm
