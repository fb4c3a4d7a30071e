#include "framework/log/hook.h"

#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "framework/log/test_kit.h"

namespace qv::log {
namespace {

/// Logs itself, and takes itself away.
class Restless final : public test::Lines {
public:
    Restless()
        : Lines(5)
    {}
    void write(Level level, Client client, string::Utf_8_string text) override
    {
        Lines::write(level, client, text);
        if (level == 1) {
            log::write(0, client, "after %s", text.to_utf_8_string().c_str());
        } else if (level == 2) {
            set_sink(nullptr);
        }
    }
};

TEST(Log_hook_test, writes_what_the_sink_accepts_until_the_sink_itself_takes_its_place_away)
{
    write(0, 0, "too early");
    EXPECT_EQ(register_client("name"), 0U);
    Restless sink;
    EXPECT_EQ(register_client("name"), 7U);
    const std::string text(5000, 'x');
    write(5, 0, "%d of %u, %c: %s", -1, 4000000000U, 'c', text.c_str());
    write(6, 0, "above the level");
    write(1, 0, "100%%");
    write(2, 0, "end");
    write(0, 0, "too late");
    EXPECT_FALSE(accepts(0));
    EXPECT_EQ(sink.lines, (std::vector<std::string>{"5 0 -1 of 4000000000, c: " + text, "1 0 100%",
                                                    "0 0 after 100%", "2 0 end"}));
}

/// Notices a call after its end.
class Mortal final : public Sink {
public:
    explicit Mortal(std::atomic<unsigned>& lines)
        : lines_(lines)
    {}
    ~Mortal() override { alive_ = false; }
    bool accepts(Level) const override { return alive_; }
    void write(Level, Client, string::Utf_8_string) override
    {
        EXPECT_TRUE(alive_);
        ++lines_;
    }
    Client register_client(std::string_view) override { return 1; }

private:
    bool alive_ = true; // plain: the thread sanitizer sees a call that is still inside
    std::atomic<unsigned>& lines_;
};

TEST(Log_hook_test, lets_a_sink_be_destroyed_while_others_log)
{
    std::atomic<unsigned> lines{0};
    std::atomic<bool> running{true};
    std::vector<std::jthread> threads(3);
    for (auto& thread : threads) {
        thread = std::jthread([&running] {
            while (running) {
                write(0, 0, "a line of %u", 1U);
            }
        });
    }
    for (unsigned round = 0; round < 50; ++round) {
        const auto sink = std::make_unique<Mortal>(lines);
        set_sink(sink.get());
        for (const unsigned before = lines; lines == before;) {
            std::this_thread::yield();
        }
        set_sink(nullptr);
    }
    running = false;
}

TEST(Log_format_test, is_known_to_fit_its_arguments_or_not)
{
    using namespace string::internal::format;
    using enum Argument_kind;
    EXPECT_TRUE(fits("%-*.*d %% %5.3s%08lx", {integer, integer, integer, text, integer}));
    EXPECT_TRUE(fits("plain", {}));
    for (const auto* format : {"%d", "%s %s", "%s %d %d", "%*s", "%s %q", "%s %", "%s %d %", "plain"}) {
        EXPECT_FALSE(fits(format, {text, integer})) << format;
    }
}

} // namespace
} // namespace qv::log
