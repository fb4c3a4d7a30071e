#pragma once

namespace qv::thread {

/// Called first by `end_process`, to write out what else is pending; null for nothing. The log fills it.
using Exit_flush = void (*)();
void set_exit_flush(Exit_flush flush) noexcept;
/// Calls the flush, when there is one.
void flush_before_exit();

/// Ends the process with `status` from any thread, while the others run: writes out standard output and leaves.
/// No static object is destroyed, as another thread may still be using it.
[[noreturn]] void end_process(int status);

} // namespace qv::thread
