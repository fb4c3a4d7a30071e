#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace bench::wifi {

/// What a resource answers.
struct Reply {
    unsigned status = 200; ///< HTTP
    std::string body;
};

/// Takes a package and installs it. The installation goes on by one step with each request for its state, so that
/// it takes as long as its observer wants.
///
/// Thread: any one.
class Installer {
public:
    using Report = std::function<void(const std::string&)>;
    struct Settings {
        unsigned polls = 5; ///< requests for the state until it is done
        std::string final_state = "rebooting";
        int error = 0; ///< that the installation ends with
    };

    Installer(Settings settings, Report report)
        : settings_(std::move(settings))
        , report_(std::move(report))
    {}

    /// A whole package of so many bytes has come.
    Reply take_package(std::uint64_t size);
    /// Begins to install it. `release` is "local," and the version.
    Reply install(const std::string& release);
    /// A JSON object.
    Reply status();

    /// The last state was told; what follows is a restart.
    [[nodiscard]] bool finished() const noexcept { return state_ == State::finished; }
    /// Forgets the package.
    void restart() noexcept { state_ = State::idle; }
    /// Of the package that is or was last installed; empty before.
    [[nodiscard]] const std::string& version() const noexcept { return version_; }
    [[nodiscard]] bool succeeded() const noexcept { return settings_.error == 0; }

private:
    enum class State {
        idle,       ///< waits for a package
        ready,      ///< has a package, waits for the order to install it
        installing, ///< counts requests for its state
        finished,   ///< waits for `restart`
    };

    [[nodiscard]] const char* state_name() const noexcept;

    Settings settings_;
    Report report_;
    State state_ = State::idle;
    unsigned polled_ = 0;
    std::string version_;
};

} // namespace bench::wifi
