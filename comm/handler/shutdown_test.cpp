#include "comm/handler/shutdown.h"

#include <cstring>

#include "comm/test_kit.h"
#include "comm/time_message.h"

namespace qv::comm {
namespace {

using message::shutdown::Application;
using message::shutdown::Token;
using message::shutdown::Token_record;
using message::shutdown::Trigger;

/// Keeps the warnings, one behind the other.
class Warnings final : public log::Sink {
public:
    Warnings() { log::set_sink(this); }
    ~Warnings() override { log::set_sink(nullptr); }
    bool accepts(log::Level level) const override { return level <= 2; }
    void write(log::Level, log::Client client, std::string_view line) override
    {
        EXPECT_EQ(client, 7U);
        text.append(line).append("|");
    }
    log::Client register_client(std::string_view name) override { return name == "comm shutdown handler" ? 7 : 0; }

    std::string text;
};

struct Case {
    const char* name;
    std::uint32_t timeout_ms; ///< of the token; 0: no token
    unsigned released_at;     ///< tick before which the owner lets it go; 0: never
    unsigned stops_at;        ///< tick that posts the stop, counted from the trigger
    const char* warnings;
};

class Shutdown_test : public test::Core_test, public testing::WithParamInterface<Case> {
protected:
    Shutdown_test()
    {
        ears_.add(std::make_shared<handler::Shutdown>(primary->id()));
        listen(primary, {Application::id}, [this](message::Message&) { stopped = true; });
    }
    void post(std::unique_ptr<message::Message> message)
    {
        primary->post(message);
        primary->process_queue();
    }
    void tick() { post(std::make_unique<message::time_elapsed::Milliseconds_020>()); }

    std::shared_ptr<Dispatcher> primary = primary_dispatcher();
    Warnings warnings;
    bool stopped = false;
};

TEST_P(Shutdown_test, stops_when_grace_and_tokens_allow_it)
{
    const auto& row = GetParam();
    std::shared_ptr<Token_record> token;
    tick();
    if (row.timeout_ms != 0) {
        token = std::make_shared<Token_record>(Token_record{"saving", row.timeout_ms});
        post(std::make_unique<Token>(token));
    }
    send_shutdown_trigger();
    for (unsigned count = 1; count <= row.stops_at; ++count) {
        EXPECT_FALSE(stopped) << "before tick " << count;
        if (count == row.released_at) {
            token.reset();
        }
        tick();
        post(std::make_unique<Trigger>()); // a second request changes nothing
    }
    EXPECT_TRUE(stopped);
    EXPECT_EQ(warnings.text, row.warnings);
}

INSTANTIATE_TEST_SUITE_P(
    Tokens, Shutdown_test,
    testing::Values(Case{"none", 0, 0, 25, ""}, Case{"released_within_the_grace_period", 2000, 5, 25, ""},
                    Case{"released_later", 2000, 50, 50, ""},
                    Case{"never_released", 2000, 0, 100, "shutdown: token(s) timed out (2000)|\tsaving|"},
                    Case{"shorter_than_the_grace_period", 300, 0, 25,
                         "shutdown: token(s) timed out (500)|\tsaving|"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(Shutdown_test, waits_for_a_trigger)
{
    for (int count = 0; count < 100; ++count) {
        tick();
    }
    EXPECT_FALSE(stopped);
}

} // namespace
} // namespace qv::comm
