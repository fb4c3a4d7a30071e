#pragma once

#include "bench/wire/record.h"

namespace bench {

/// Bits that the frame takes on the bus: from the start of frame to the end of the intermission, with the stuff
/// bits that its contents cause [ISO 11898-1 10.4, 10.5].
[[nodiscard]] unsigned frame_length(const Record& record) noexcept;

} // namespace bench
