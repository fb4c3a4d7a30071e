#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "framework/application/initializer.h"
#include "framework/signal/handler.h"
#include "log/directory.h"
#include "log/log.h"

/// The jobs of the layers, in the order in which a start creates them.
namespace qv::application::initializer::job {

/// The primary configuration.
class Config final : public Job {
public:
    Config(const Initializer& initializer, const std::string& file_path);
    /// Saves the configuration for the last time.
    ~Config() override;
};

namespace comm {

/// The comm core.
class Core final : public Job {
public:
    explicit Core(const Initializer& initializer);
    /// Ends all threads.
    ~Core() override;
};

/// The comm core's own handlers; they end with the core.
class Handlers final : public Job {
public:
    explicit Handlers(const Initializer& initializer);
};

} // namespace comm

/// The handler of the process's signals.
class Posix_signal_handler final : public Job {
public:
    explicit Posix_signal_handler(const Initializer& initializer);

private:
    std::unique_ptr<posix_signal::Handler> handler_; ///< empty without a flag
};

/// The log, when the configuration enables it. Its directory is cleaned up at the start and at the end, so that
/// the run's own file counts.
class Log final : public Job {
public:
    explicit Log(const Initializer& initializer);
    /// Writes what is left and closes the file.
    ~Log() override;

private:
    void clean_up() const;

    bool enabled_ = false;
    log::directory::Limits limits_;
    std::string path_;
    std::shared_ptr<log::Log> log_; ///< empty unless enabled and started
};

} // namespace qv::application::initializer::job
