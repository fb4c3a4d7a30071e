#include "log/primary.h"

#include <mutex>
#include <utility>

#include "framework/thread/process_exit.h"

namespace qv::log {

namespace primary::internal {

namespace {

constinit std::mutex instance_mutex;

} // namespace

constinit Primary* Primary::_instance = nullptr;

Primary::Primary(std::shared_ptr<Log> log) noexcept
    : log_(std::move(log))
{}

void Primary::install(std::shared_ptr<Log> log)
{
    auto primary = std::make_unique<Primary>(std::move(log));
    const std::lock_guard guard(instance_mutex);
    _instance = primary.release();
}

std::unique_ptr<Primary> Primary::remove() noexcept
{
    const std::lock_guard guard(instance_mutex);
    return std::unique_ptr<Primary>(std::exchange(_instance, nullptr));
}

std::shared_ptr<Log> Primary::log() noexcept
{
    const std::lock_guard guard(instance_mutex);
    return _instance != nullptr ? _instance->log_ : nullptr;
}

} // namespace primary::internal

using primary::internal::Primary;

namespace {

/// The process ends while other threads run.
void close_at_exit()
{
    if (const auto log = Primary::log()) {
        log->close_at_exit();
    }
}

} // namespace

std::shared_ptr<Log> create(const std::string& application_name, const qv::Version& version,
                            const std::string& directory, char separator, Level level)
{
    if (auto standing = Primary::log()) {
        return standing;
    }
    auto log = std::make_shared<Log>(application_name, version, directory, separator, level);
    if (!log->start()) {
        return nullptr;
    }
    Primary::install(log);
    qv::thread::set_exit_flush(&close_at_exit);
    set_sink(log.get());
    return log;
}

/// Nobody is inside the log once the sink is gone, so that "closing log" is the last line. A process that fails
/// while the thread still writes finds the log in its place.
void destroy()
{
    set_sink(nullptr);
    if (const auto log = Primary::log()) {
        log->stop();
    }
    qv::thread::set_exit_flush(nullptr);
    Primary::remove();
}

} // namespace qv::log
