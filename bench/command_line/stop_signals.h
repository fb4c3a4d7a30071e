#pragma once

namespace bench {

/// Blocks SIGTERM and SIGINT. A descriptor that is readable once one of them has come, or -1.
[[nodiscard]] int stop_signals();

} // namespace bench
