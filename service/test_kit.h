#pragma once

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace qv::can_bus::flr {

/// Catches what a test prints. It is shown at the end.
class Caught_output {
protected:
    Caught_output() { testing::internal::CaptureStdout(); }
    ~Caught_output() { std::fputs(testing::internal::GetCapturedStdout().c_str(), stdout); }

    /// What was printed since the last call.
    static std::string said()
    {
        auto text = testing::internal::GetCapturedStdout();
        testing::internal::CaptureStdout();
        return text;
    }
};

/// A line of an update file, completed by its checksum: record("10 0100 00 AABB").
inline std::string record(const std::string& fields)
{
    std::string digits;
    std::copy_if(fields.begin(), fields.end(), std::back_inserter(digits), [](char c) { return c != ' '; });
    unsigned sum = 0;
    for (std::size_t place = 0; place + 1 < digits.size(); place += 2) {
        sum += static_cast<unsigned>(std::stoul(digits.substr(place, 2), nullptr, 16));
    }
    char checksum[3];
    std::snprintf(checksum, sizeof checksum, "%02X", -sum & 0xFF);
    return ":" + digits + checksum + "\n";
}

/// The arguments of `main` for these words, to which the name of the program is added and which outlive them.
inline std::vector<char*> arguments_of(std::vector<std::string>& words)
{
    words.insert(words.begin(), "flintrow");
    std::vector<char*> arguments;
    std::transform(words.begin(), words.end(), std::back_inserter(arguments),
                   [](std::string& word) { return word.data(); });
    arguments.push_back(nullptr);
    return arguments;
}

} // namespace qv::can_bus::flr
