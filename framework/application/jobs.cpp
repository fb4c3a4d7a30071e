#include "framework/application/jobs.h"

#include <cstdio>

#include "comm/config_writer/config_writer.h"
#include "comm/master.h"
#include "config/node.h"
#include "config/primary.h"
#include "framework/application/shutdown_signal_handler.h"
#include "log/primary.h"

namespace qv::application::initializer::job {

Config::Config(const Initializer& initializer, const std::string& file_path)
{
    if (initializer.has(flag::config) && !config::create_primary(file_path)) {
        std::fprintf(stderr,
                     "Error: %s cannot be loaded, or its backup not written: all settings have their defaults\n",
                     file_path.c_str());
    }
}

Config::~Config() { config::destroy_primary(); }

namespace comm {

namespace {

namespace core_flag = qv::comm::flag;

constexpr std::uint32_t core_flags = core_flag::config_writer;
constexpr std::uint32_t handler_flags =
    core_flag::atom | core_flag::shutdown | core_flag::thread_handle | core_flag::time_tick;
/// Selects nothing in this version of the core.
constexpr std::uint32_t reserved_handler_flag = 0x02;

} // namespace

Core::Core(const Initializer& initializer)
{
    if (initializer.has(flag::comm)) {
        // without a core the inner layers do not come up
        static_cast<void>(qv::comm::core_start(core_flags, &qv::comm::handler::Config_writer::make));
    }
}

Core::~Core() { qv::comm::master_stop(); }

Handlers::Handlers(const Initializer& initializer)
{
    if (initializer.has(flag::comm)) {
        const bool all = initializer.has(flag::comm_handlers_all);
        static_cast<void>(qv::comm::handlers_start(initializer.title(),
                                                   all ? handler_flags | reserved_handler_flag : handler_flags));
    }
}

} // namespace comm

Posix_signal_handler::Posix_signal_handler(const Initializer& initializer)
{
    if (initializer.has(flag::posix_signal_shutdown)) {
        handler_ = std::make_unique<posix_signal::handler::shutdown::Shutdown>(posix_signal::type::all);
    } else if (initializer.has(flag::posix_signal_handler)) {
        handler_ = std::make_unique<posix_signal::Handler>(posix_signal::type::all);
    }
}

Log::Log(const Initializer& initializer)
{
    const auto configuration = config::primary_configuration();
    if (!configuration || !initializer.has(flag::log)) {
        return;
    }
    config::node::Log settings(configuration.get());
    enabled_ = settings.enable();
    if (enabled_) {
        path_ = settings.path();
        limits_ = {0, settings.cleanup_size_threshold(), settings.cleanup_file_count_threshold()};
        clean_up();
        log_ = log::create(initializer.title(), initializer.version(), path_, '/', settings.level());
    }
}

Log::~Log()
{
    log::destroy();
    log_.reset();
    if (enabled_) {
        clean_up();
    }
}

void Log::clean_up() const { log::directory::cleanup(limits_, path_, '/'); }

} // namespace qv::application::initializer::job
