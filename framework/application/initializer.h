#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "framework/application/run_wrapper.h"
#include "framework/version.h"

namespace qv::application::initializer {

/// What the process was started with. The texts may be empty.
struct Start_parameters {
    int argc = 0;
    char** argv = nullptr;
    std::string application_name;
    std::string configuration_file;
};

/// What an application tells each of its layers.
struct Application_description {
    const Start_parameters* start_parameters = nullptr; ///< outlives the making of the layers
    std::string title;
    Version version;
    std::uint32_t flags = 0; ///< of namespace `flag`
};

/// What the layers start.
namespace flag {
inline constexpr std::uint32_t comm = 0x002;                    ///< the comm core and its handlers
inline constexpr std::uint32_t comm_handlers_all = 0x004;       ///< nothing more on this platform
inline constexpr std::uint32_t config = 0x008;                  ///< the primary configuration
inline constexpr std::uint32_t idle_sleep_preventer = 0x010;    ///< nothing on this platform
inline constexpr std::uint32_t log = 0x020;                     ///< the log
inline constexpr std::uint32_t posix_signal_handler = 0x040;    ///< reports signals and ends the process
inline constexpr std::uint32_t posix_signal_shutdown = 0x080;   ///< SIGINT and SIGTERM stop it in order
inline constexpr std::uint32_t print_title_and_version = 0x100; ///< at start and at end
} // namespace flag

namespace job {

/// One thing that a layer starts: its constructor is the start, its destructor the stop. No job reports failure;
/// a layer runs without what could not be started.
class Job {
public:
    virtual ~Job() = default;
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

protected:
    Job() = default;
};

} // namespace job

class Initializer;

/// All that a layer holds while it is up. Each layer derives its own, which creates the jobs.
class Implementation {
public:
    explicit Implementation(Initializer& initializer) noexcept;
    /// Destroys the jobs from the last to the first.
    virtual ~Implementation();
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

protected:
    Initializer& initializer() const noexcept { return *initializer_; }
    void add(std::unique_ptr<job::Job> job) { jobs_.push_back(std::move(job)); }

private:
    std::vector<std::unique_ptr<job::Job>> jobs_;
    Initializer* initializer_; ///< outlives this
};

/// A layer made of jobs. It is up from `init_own` to `deinit_own`; a destructor that comes first takes it down,
/// behind the inner layers.
class Initializer : public run_wrapper::Cascade {
public:
    Initializer(std::shared_ptr<Run_wrapper> inner, const Application_description& description);
    ~Initializer() override;

    bool deinit_own() override;

    const std::string& title() const noexcept { return title_; }
    const Version& version() const noexcept { return version_; }
    bool has(std::uint32_t wanted_flag) const noexcept { return (flags_ & wanted_flag) != 0; }

protected:
    /// Takes the title from the configuration, where an installation can rename the application.
    void read_title();
    /// The layer is up with this. True when there is one.
    bool install(std::unique_ptr<Implementation> implementation) noexcept;
    bool is_up() const noexcept { return implementation_ != nullptr; }

private:
    std::string title_;
    Version version_;
    std::uint32_t flags_;
    std::unique_ptr<Implementation> implementation_;
};

} // namespace qv::application::initializer
