#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ctl/watch.h"

namespace ctl {

/// Shows a running session on standard output, each report at once.
class Display {
public:
    Display() = default;
    virtual ~Display() = default;
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    virtual void show(const Moment& moment) = 0;
    /// Leaves the place clean for what is told next.
    virtual void end() {}
};

enum class Style {
    bar,   ///< one line on a terminal, written over and over; a state that is over keeps its last one
    lines, ///< one line for each change
    json,  ///< the same, each line a JSON object
};

std::unique_ptr<Display> make_display(Style style);

/// "5 s", "1 min 05 s", "1 h 02 min".
std::string time_text(std::chrono::seconds time);
/// The line of a bar, at most `width` columns; the bar itself goes first where there is no room. `over`: another
/// state has come, so that the step is at 100 %.
std::string bar_line(const Moment& moment, std::size_t width, bool over = false);
/// "programming 42 %, 3.1 %/s, 19 s left".
std::string plain_line(const Moment& moment);

} // namespace ctl
