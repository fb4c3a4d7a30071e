#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include "comm/test_kit.h"
#include "comm/time_message.h"
#include "framework/file/scratch_folder.h"
#include "log/primary.h"

namespace qv::log::test {

inline bool holds(const std::string& text, const std::string& wanted)
{
    return text.find(wanted) != std::string::npos;
}

/// A core and a log whose ticks come from the test.
class Log_test : public comm::test::Core_test {
protected:
    ~Log_test() override { finish(); }

    void start(Level level = 0xFFFFFFFF, const std::string& place = "log")
    {
        log = create("Our tool", {1, 2, 3, 4}, directory / place, '/', level);
        ASSERT_NE(log, nullptr);
    }
    /// Ends the log, and gives what the file then holds.
    std::string finish()
    {
        log.reset();
        destroy();
        return text();
    }
    /// What the one file in the directory of the log holds.
    std::string text() const
    {
        std::error_code none;
        std::string result;
        for (const auto& entry : std::filesystem::directory_iterator(directory / "log", none)) {
            std::ifstream stream(entry.path(), std::ios::binary);
            result = {std::istreambuf_iterator<char>(stream), {}};
        }
        return result;
    }
    /// Whether it comes true within five seconds; the log thread may have yet to listen to the ticks.
    template <class Condition> bool soon(Condition condition)
    {
        bool result = condition();
        for (int turn = 0; turn < 5000 && !result; ++turn) {
            pass<comm::message::time_elapsed::Milliseconds_500>(primary);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            result = condition();
        }
        return result;
    }

    const file::test::Scratch_folder folder;
    const std::filesystem::path directory = folder.path();
    std::shared_ptr<Log> log;
};

} // namespace qv::log::test
