#pragma once

#include <atomic>
#include <chrono>

namespace qv::thread {

/// The one place through which the service waits for real time that no message measures: the retry pauses of a
/// start, the three seconds before a restart, the five before an exit, the main thread while the others work. Only
/// the waits of a few milliseconds for another thread's last step do without it.
void pause(std::chrono::milliseconds duration);
/// The same, over a little after `cancelled` is set.
void pause(std::chrono::milliseconds duration, const std::atomic<bool>& cancelled);

/// Replaces the wait, for tests that take no time; null restores the real one. Returns the former one.
using Pause_function = void (*)(std::chrono::milliseconds);
Pause_function set_pause(Pause_function function) noexcept;

} // namespace qv::thread
