#include "comm/config_writer/config_writer.h"

#include <new>
#include <utility>

#include "comm/config_message.h"
#include "comm/shutdown_message.h"
#include "comm/time_message.h"
#include "config/primary.h"
#include "framework/thread/handle.h"

namespace qv::comm::handler {

namespace {

using message::config::Changed;
using message::shutdown::Application;
using message::shutdown::Trigger;
using message::time_elapsed::Milliseconds_020;

constexpr log::Level log_level = 16;
constexpr std::uint32_t tick_ms = 20;

void count(std::uint32_t& waited, std::uint32_t enough) noexcept
{
    if (waited < enough) {
        waited += tick_ms;
    }
}

} // namespace

std::shared_ptr<observer::Observer> Config_writer::make(dispatcher::Dispatcher_id id)
{
    return std::make_shared<Config_writer>(id);
}

template <class Visit> void Config_writer::for_each_subscription(Visit visit)
{
    visit(Changed::id, &Config_writer::on_config_changed);
    visit(Application::id, &Config_writer::on_shutdown);
    visit(Trigger::id, &Config_writer::on_shutdown_trigger);
    visit(Milliseconds_020::id, &Config_writer::on_time_elapsed_20);
}

void Config_writer::subscribe()
{
    for_each_subscription([this](message::Id id, auto handler) { add(id, handler); });
}

void Config_writer::unsubscribe()
{
    for_each_subscription([this](message::Id id, auto) { remove(id); });
}

void Config_writer::on_config_changed(message::Message& /*message*/)
{
    if (!dirty_) {
        dirty_ = true;
        since_change_ = 0;
    }
}

void Config_writer::on_time_elapsed_20(message::Message& /*message*/)
{
    if (std::exchange(first_tick_, false)) {
        log_module_ = log::register_client("comm configuration writer");
    }
    count(since_write_, pause_ms);
    if (dirty_) {
        count(since_change_, calm_ms);
    }
    if (may_write()) {
        write();
    }
}

bool Config_writer::may_write() const noexcept
{
    return dirty_ && since_change_ >= calm_ms && since_write_ >= pause_ms;
}

void Config_writer::on_shutdown_trigger(message::Message& /*message*/) { write_now(); }

void Config_writer::on_shutdown(message::Message& /*message*/) { write_now(); }

void Config_writer::write_now()
{
    if (dirty_) {
        write();
    }
}

void Config_writer::write()
{
    since_write_ = 0;
    dirty_ = false;
    const auto configuration = config::primary_configuration();
    auto copy = configuration ? configuration->take_changes() : nullptr;
    if (copy != nullptr && !start_writing(std::move(copy))) {
        configuration->modified = true;
    }
}

bool Config_writer::start_writing(std::shared_ptr<config::Configuration> copy) const
try {
    log::write(log_level, log_module_, "writing configuration");
    const auto handle = std::make_shared<thread::Handle>("writing configuration");
    thread::report_lifecycle(handle, false); // so that a stop waits for it even if it has not begun yet
    const bool started = thread::argument::start<std::shared_ptr<config::Configuration>>(
        handle, &write_config, std::move(copy), thread::Ending::join);
    if (!started) {
        thread::report_lifecycle(handle, true);
    }
    return started;
} catch (const std::bad_alloc&) {
    return false;
}

/// A failure leaves the changes to the next save of the live document.
void write_config(
    std::shared_ptr<config::Configuration> configuration) // NOLINT(performance-unnecessary-value-param)
{
    if (configuration == nullptr || configuration->save(false)) {
        return;
    }
    if (const auto live = config::primary_configuration()) {
        live->modified = true;
    }
}

} // namespace qv::comm::handler
