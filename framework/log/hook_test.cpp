#include "framework/log/hook.h"

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace qv::log {
namespace {

class Lines final : public Sink {
public:
    bool accepts(Level level) const override { return level <= 5; }
    void write(Level level, Client client, string::Utf_8_string text) override
    {
        lines.push_back(text.to_utf_8_string());
        if (level == 1) {
            log::write(0, client, "after %s", text.to_utf_8_string().c_str()); // the sink logs itself
        } else if (level == 2) {
            set_sink(nullptr);
        }
    }
    Client register_client(std::string_view) override { return 7; }
    std::vector<std::string> lines;
};

TEST(Log_hook_test, writes_what_the_sink_accepts_until_the_sink_itself_takes_its_place_away)
{
    Lines sink;
    write(0, 0, "too early");
    EXPECT_EQ(register_client("name"), 0U);
    set_sink(&sink);
    EXPECT_EQ(register_client("name"), 7U);
    const std::string text(5000, 'x');
    write(5, 0, "%d of %u, %c: %s", -1, 4000000000U, 'c', text.c_str());
    write(6, 0, "above the level");
    write(1, 0, "100%%");
    write(2, 0, "end");
    write(0, 0, "too late");
    EXPECT_FALSE(accepts(0));
    EXPECT_EQ(sink.lines, (std::vector<std::string>{"-1 of 4000000000, c: " + text, "100%", "after 100%", "end"}));
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

constexpr bool takes(std::string_view format, std::initializer_list<string::internal::format::Argument_kind> kinds)
{
    return string::internal::format::fits(format, kinds);
}

TEST(Log_format_test, is_known_to_fit_its_arguments_or_not)
{
    using enum string::internal::format::Argument_kind;
    EXPECT_TRUE(takes("%-*.*d %% %5.3s%08lx", {integer, integer, integer, text, integer}));
    EXPECT_TRUE(takes("plain", {}));
    for (const std::string_view format : {"%d", "%s %s", "%s %d %d", "%*s", "%s %q", "%s %", "%s %d %", "plain"}) {
        EXPECT_FALSE(takes(format, {text, integer})) << format;
    }
}

} // namespace
} // namespace qv::log
