#pragma once

#include <cstdint>
#include <ctime>

namespace qv::time {

/// Milliseconds of an unsigned 32-bit clock that wraps; only differences mean anything.
using Milliseconds = std::uint32_t;

/// The millisecond clock: monotonic, not moved by the wall clock. 0 when the system's clock fails.
Milliseconds now_ms() noexcept;

/// Time since `last`, which becomes now. A step of more than 100,000 ms, either way, counts as a jump of the
/// clock and gives 0, as does a clock that did not advance.
Milliseconds elapsed_ms(Milliseconds& last) noexcept;
/// The same, but time below `minimum` gives 0 and stays in `last`, to be counted by a later call. So does a small
/// step back; after a jump the count begins anew, so that one wrong reading never stops it.
Milliseconds elapsed_ms(Milliseconds& last, Milliseconds minimum) noexcept;

/// The rules of `elapsed_ms` for a clock that reads `now`.
Milliseconds elapsed_between(Milliseconds& last, Milliseconds now, Milliseconds minimum) noexcept;

/// Seconds since the epoch by the wall clock, plus the process's offset.
std::time_t adjusted_time() noexcept;
std::time_t time_offset() noexcept;
/// Makes the offset such that `adjusted_time` equals `seconds` now.
void set_adjusted_time(std::time_t seconds) noexcept;

} // namespace qv::time
