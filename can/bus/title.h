#pragma once

namespace qv::can_bus::application {

inline constexpr const char* title = "CAN bus application";

} // namespace qv::can_bus::application
