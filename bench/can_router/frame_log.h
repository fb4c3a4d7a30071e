#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "bench/wire/record.h"

namespace bench {

/// One line of a candump log: "(1700000000.123456) can0 18EEFF80#A001...", without a line end.
[[nodiscard]] std::string candump_line(std::chrono::microseconds time_of_day, const Record& record);

/// The traffic as a file that can-utils and Wireshark read.
class Frame_log {
public:
    /// False, with errno telling why, when the file cannot be written.
    [[nodiscard]] bool open(const std::string& path);
    void write(const Record& record);
    /// Hands what is buffered to the system; called before the router waits.
    void flush();

private:
    struct Close {
        void operator()(std::FILE* file) const noexcept { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Close> file_;
};

} // namespace bench
