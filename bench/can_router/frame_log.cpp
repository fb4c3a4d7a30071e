#include "bench/can_router/frame_log.h"

namespace bench {

namespace {

constexpr std::uint32_t error_flag = 0x20000000;

} // namespace

std::string candump_line(std::chrono::microseconds time_of_day, const Record& record)
{
    char text[64];
    const auto identifier = record.error ? record.identifier | error_flag : record.identifier;
    const int width = record.extended || record.error ? 8 : 3;
    std::snprintf(text, sizeof text, "(%010lld.%06lld) can0 %0*X#",
                  static_cast<long long>(time_of_day.count() / 1000000),
                  static_cast<long long>(time_of_day.count() % 1000000), width, identifier);
    std::string line = text;
    if (record.remote) {
        return line + "R";
    }
    for (unsigned index = 0; index < record.length; ++index) {
        std::snprintf(text, sizeof text, "%02X", record.data[index]);
        line += text;
    }
    return line;
}

bool Frame_log::open(const std::string& path)
{
    file_.reset(std::fopen(path.c_str(), "we"));
    return file_ != nullptr;
}

void Frame_log::write(const Record& record)
{
    if (file_ == nullptr) {
        return;
    }
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto line = candump_line(std::chrono::duration_cast<std::chrono::microseconds>(now), record);
    std::fprintf(file_.get(), "%s\n", line.c_str());
}

void Frame_log::flush()
{
    if (file_ != nullptr) {
        std::fflush(file_.get());
    }
}

} // namespace bench
