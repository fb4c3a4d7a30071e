#include "ctl/display.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

#include <sys/ioctl.h>
#include <unistd.h>

#include "ctl/json.h"
#include "ctl/text.h"

namespace ctl {

namespace {

constexpr std::size_t words_width = 26; ///< the longest words of a state
constexpr std::size_t bar_limit = 40;
constexpr std::size_t bar_least = 5;
constexpr std::size_t usual_width = 80;

std::string words_of(const Moment& moment)
{
    return moment.state == State::idle ? "changing the bit rate" : words(moment.state);
}

/// Its percentage counts down to the moment when the service gives up, so that there is nothing to be proud of.
bool is_countdown(const Moment& moment) { return moment.state == State::restart_pending; }

std::string rate_text(double rate)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %%/s", rate);
    return text;
}

std::string padded(std::string text, std::size_t width)
{
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

std::string right(const std::string& text, std::size_t width)
{
    return std::string(width - std::min(width, text.size()), ' ').append(text);
}

std::string bar(int percent, std::size_t width)
{
    const auto done = width * static_cast<std::size_t>(percent) / 100;
    return concat("[", std::string(done, '#'), std::string(width - done, '-'), "]");
}

std::string time_in_state(const Moment& moment)
{
    return time_text(std::chrono::floor<std::chrono::seconds>(moment.in_state));
}

/// What stands behind the bar; of one width, so that nothing moves.
std::string figures(const Moment& moment, int percent, bool over)
{
    const auto left = moment.left ? time_text(*moment.left) + " left" : "";
    return concat(right(std::to_string(percent), 3), " %", right(moment.rate ? rate_text(*moment.rate) : "", 12),
                  right(over ? concat("in ", time_in_state(moment)) : left, 18));
}

std::size_t terminal_width()
{
    winsize size{};
    const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : usual_width;
}

/// What a plain line tells of; a new line is due when it changes.
struct Told {
    State state;
    std::optional<int> percent;
    bool operator==(const Told&) const = default;
};

Told told_of(const Moment& moment) { return {moment.state, is_countdown(moment) ? std::nullopt : moment.percent}; }

class Bar final : public Display {
public:
    void show(const Moment& moment) override
    {
        if (last_ && last_->state != moment.state) {
            draw(*last_, true);
            end();
        }
        draw(moment, false);
        last_ = moment;
    }

    void end() override
    {
        if (last_) {
            std::cout << std::endl;
        }
        last_.reset();
        shown_ = 0;
    }

private:
    void draw(const Moment& moment, bool over)
    {
        const auto width = terminal_width() - 1; // the last column would break the line
        const auto line = bar_line(moment, width, over);
        std::cout << '\r' << padded(line, std::min(width, shown_)) << std::flush;
        shown_ = line.size();
    }

    std::optional<Moment> last_; ///< of the line that stands there
    std::size_t shown_ = 0;      ///< columns that it takes
};

class Lines final : public Display {
public:
    explicit Lines(std::string (*line)(const Moment&))
        : line_(line)
    {}

    void show(const Moment& moment) override
    {
        if (told_ != told_of(moment)) {
            told_ = told_of(moment);
            std::cout << line_(moment) << std::endl;
        }
    }

private:
    std::string (*line_)(const Moment&);
    std::optional<Told> told_;
};

} // namespace

std::unique_ptr<Display> make_display(Style style)
{
    switch (style) {
        case Style::bar: return std::make_unique<Bar>();
        case Style::lines: return std::make_unique<Lines>(plain_line);
        case Style::json: return std::make_unique<Lines>([](const Moment& moment) { return to_json(moment); });
    }
    return nullptr;
}

std::string time_text(std::chrono::seconds time)
{
    const auto seconds = static_cast<long long>(time.count());
    char text[64];
    if (seconds < 60) {
        std::snprintf(text, sizeof text, "%lld s", seconds);
    } else if (seconds < 3600) {
        std::snprintf(text, sizeof text, "%lld min %02lld s", seconds / 60, seconds % 60);
    } else {
        std::snprintf(text, sizeof text, "%lld h %02lld min", seconds / 3600, seconds / 60 % 60);
    }
    return text;
}

std::string bar_line(const Moment& moment, std::size_t width, bool over)
{
    auto line = padded(words_of(moment), words_width);
    if (is_countdown(moment) && !over) {
        line += moment.left ? concat("  gives up in ", time_text(*moment.left)) : "";
    } else if (!moment.percent || is_countdown(moment)) {
        line += concat("  ", time_in_state(moment));
    } else {
        const int percent = over ? 100 : *moment.percent;
        const auto tail = figures(moment, percent, over);
        const auto taken = line.size() + tail.size() + 5; // brackets and blanks
        const auto room = std::min(bar_limit, width - std::min(width, taken));
        line += room >= bar_least ? concat("  ", bar(percent, room), " ", tail) : concat(" ", tail);
    }
    return line.substr(0, width);
}

std::string plain_line(const Moment& moment)
{
    auto line = words_of(moment);
    if (moment.percent && !is_countdown(moment)) {
        line += concat(" ", std::to_string(*moment.percent), " %");
        line += moment.rate ? concat(", ", rate_text(*moment.rate)) : "";
        line += moment.left ? concat(", ", time_text(*moment.left), " left") : "";
    }
    return line;
}

} // namespace ctl
