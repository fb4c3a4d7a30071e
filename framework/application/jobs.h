#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "framework/application/initializer.h"
#include "framework/signal/handler.h"

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

} // namespace qv::application::initializer::job
