#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "framework/log/hook.h"

namespace qv::log::test {

/// The log for the time of a test: keeps its lines, up to a level, as "level client text".
///
/// Thread: that of the test, which alone logs.
class Lines : public Sink {
public:
    explicit Lines(Level highest = 0xFFFFFFFF)
        : highest_(highest)
    {
        set_sink(this);
    }
    ~Lines() override { set_sink(nullptr); }
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;

    bool accepts(Level level) const override { return level <= highest_; }
    void write(Level level, Client client, string::Utf_8_string text) override
    {
        lines.push_back(std::to_string(level) + " " + std::to_string(client) + " " + text.to_utf_8_string());
    }
    Client register_client(std::string_view) override { return 7; }

    std::vector<std::string> lines;

private:
    const Level highest_;
};

} // namespace qv::log::test
