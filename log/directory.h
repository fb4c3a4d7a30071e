#pragma once

#include <cstdint>
#include <string>

#include "comm/message.h"

namespace qv::log {

namespace file_name {
inline constexpr const char* extension = ".log";
} // namespace file_name

namespace directory {

/// What a cleanup leaves in the directory; a 0 switches a test off.
struct Limits {
    std::int32_t minimum_time = 0;          ///< seconds since the epoch, adjusted time; older files go
    std::uint32_t size_threshold = 0;       ///< bytes that the newest files may have together
    std::uint32_t file_count_threshold = 0; ///< files that stay
};

/// Removes log files from `path`, beginning with the newest that a limit condemns; every older one goes with it.
/// The newest always stays. Only files with the extension of a log count, symbolic links among them; directories
/// do not. What cannot be listed or removed is left alone.
void cleanup(const Limits& limits, const std::string& path, char separator);

namespace message {

/// Asks for a cleanup of the log's directory. Posted to the log's dispatcher by whoever wants it; the log thread
/// listens.
class Cleanup final : public comm::message::Cloneable<Cleanup> {
public:
    static constexpr comm::message::Id id = 0x40139;
    Cleanup(std::int32_t oldest, std::uint32_t size, std::uint32_t file_count) noexcept
        : Cloneable<Cleanup>(id)
        , minimum_time(oldest)
        , size_threshold(size)
        , file_count_threshold(file_count)
    {}
    std::int32_t minimum_time;
    std::uint32_t size_threshold;
    std::uint32_t file_count_threshold;
};

} // namespace message

} // namespace directory

} // namespace qv::log
