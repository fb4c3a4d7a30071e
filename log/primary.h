#pragma once

#include <memory>
#include <string>

#include "log/log.h"

namespace qv::log {

namespace primary::internal {

/// Holds the log of the run. Thread: installed and removed by the main thread; `log` is for any.
class Primary {
public:
    explicit Primary(std::shared_ptr<Log> log) noexcept;

    static void install(std::shared_ptr<Log> log);
    /// Gives the instance away, empty when there is none.
    static std::unique_ptr<Primary> remove() noexcept;
    /// The log, which then lives at least as long as the result; empty without one.
    static std::shared_ptr<Log> log() noexcept;

    const std::shared_ptr<Log>& shared() const noexcept { return log_; }

private:
    static Primary* _instance; ///< null without a log; guarded by a mutex

    std::shared_ptr<Log> log_;
};

} // namespace primary::internal

/// Makes the log of the run and starts its thread; from then on the lines of all components go to it. Empty when
/// the thread cannot be started: the system then runs without a log. A second call gives the log that stands.
std::shared_ptr<Log> create(const std::string& application_name, const qv::Version& version,
                            const std::string& directory, char separator, Level level);
/// Takes the log away from all who write to it, ends its thread and lets go of it.
void destroy();

} // namespace qv::log
