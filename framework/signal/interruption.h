#pragma once

namespace qv::thread::current {

/// Asks the `Terminator` of the calling thread to end it; false when the thread has none. Safe in a signal
/// handler.
bool interrupt_own_thread() noexcept;

} // namespace qv::thread::current
