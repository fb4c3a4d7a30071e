#pragma once

#include <cstdint>
#include <memory>

#include "comm/observer.h"
#include "config/configuration.h"
#include "framework/log/hook.h"

namespace qv::comm::handler {

/// Saves the primary configuration when it has changed: 500 ms after the first change, 10 s after the write before
/// at the earliest, and at once when the process is to stop.
///
/// Thread: the primary thread.
class Config_writer final : public observer::Observer_dispatcher_id {
public:
    using Observer_dispatcher_id::Observer_dispatcher_id;
    static std::shared_ptr<observer::Observer> make(dispatcher::Dispatcher_id id);

    void subscribe() override;
    void unsubscribe() override;

private:
    static constexpr std::uint32_t calm_ms = 500;
    static constexpr std::uint32_t pause_ms = 10000;

    template <class Visit> static void for_each_subscription(Visit visit);
    void on_config_changed(message::Message& message);
    void on_shutdown(message::Message& message);
    void on_shutdown_trigger(message::Message& message);
    void on_time_elapsed_20(message::Message& message);
    bool may_write() const noexcept;
    void write_now();
    void write();
    bool start_writing(std::shared_ptr<config::Configuration> copy) const;

    // Times in ms, in steps of 20, one for each Milliseconds_020.
    std::uint32_t since_change_ = 0;       ///< since the first change that is not saved; stops at `calm_ms`
    std::uint32_t since_write_ = pause_ms; ///< since the last write; stops at `pause_ms`
    bool dirty_ = false;                   ///< there are changes that are not saved
    bool first_tick_ = true;               ///< the log client is not registered yet
    log::Client log_module_ = 0;
};

/// Saves a copy of the primary configuration; the body of the thread that writes. Null is ignored.
void write_config(std::shared_ptr<config::Configuration> configuration);

} // namespace qv::comm::handler
