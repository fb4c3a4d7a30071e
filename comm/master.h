#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "comm/dispatcher.h"

namespace qv::comm {

using dispatcher::Dispatcher;
using dispatcher::Dispatcher_id;

/// What `core_start` and `handlers_start` bring up.
namespace flag {
inline constexpr std::uint32_t atom = 0x01;
inline constexpr std::uint32_t config_writer = 0x04;
inline constexpr std::uint32_t shutdown = 0x08;
inline constexpr std::uint32_t thread_handle = 0x10;
inline constexpr std::uint32_t signal = 0x20;
inline constexpr std::uint32_t time_tick = 0x40;
} // namespace flag

/// Makes an observer that works on the dispatcher of the given id.
using Make_observer = std::shared_ptr<observer::Observer> (*)(Dispatcher_id id);

/// Starts the core: the one primary dispatcher, and on it the writer of the configuration, which stands above the
/// core; with the flag for it `make_config_writer` is needed. A second call changes nothing. False when a step
/// failed; the core is then stopped again.
[[nodiscard]] bool core_start(std::uint32_t flags, Make_observer make_config_writer = nullptr);
/// Creates the handlers of the flags on the primary dispatcher; `name` is the token of the atom handler.
[[nodiscard]] bool handlers_start(std::string_view name, std::uint32_t flags);
/// Starts the thread "comm primary", which belongs to the core. False without a core, when it was started
/// before, or when the system has no thread to give.
[[nodiscard]] bool start_primary_thread();
/// Announces the stop to all threads, waits for the primary thread, releases the handlers, which ends the
/// other threads still running, then the primary dispatcher and the core. Called by the thread that started it.
void master_stop();
/// Whether the stop was announced, by `handler::Shutdown` or by `master_stop`; false without a core. Whoever
/// subscribes to `shutdown::Application` looks here afterwards: the message may have gone by already.
bool core_is_stopping();
/// Marks the stop as announced. Called before the message is posted, so that a subscriber misses one of the
/// two at most.
void mark_core_stopping();

/// All of the following answer with an empty result while there is no core.
///
/// A new dispatcher, entered under `name`. Empty when the name is in use or the signal cannot be made.
std::shared_ptr<Dispatcher> create_dispatcher(std::string_view name, bool with_signal);
/// The same with a signal that others may share; empty is none.
std::shared_ptr<Dispatcher> create_dispatcher(std::string_view name,
                                              std::shared_ptr<thread::signal::Signal> signal);
std::shared_ptr<Dispatcher> find_dispatcher(Dispatcher_id id);
std::shared_ptr<Dispatcher> find_dispatcher_by_name(std::string_view name);
std::shared_ptr<Dispatcher> primary_dispatcher();
Dispatcher_id primary_dispatcher_id();
/// Forgets the dispatcher; it lives on until its last reference goes.
void remove_dispatcher(const std::shared_ptr<Dispatcher>& dispatcher);

/// Posts to the dispatcher `id`; the message is destroyed when there is none.
void post_to(Dispatcher_id id, std::unique_ptr<message::Message> message);
/// Asks for an orderly stop: posts a `shutdown::Trigger` to the primary dispatcher.
void send_shutdown_trigger();

} // namespace qv::comm
