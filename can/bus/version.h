#pragma once

#include "framework/version.h"

namespace qv::can_bus {

/// The service bears the same numbers.
class Version final : public Version_base<2, 12, 15, 424> {};
inline constexpr const char* title = "CAN bus library";

} // namespace qv::can_bus
