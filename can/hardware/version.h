#pragma once

#include "framework/version.h"

namespace qv::can_bus::hardware {

inline constexpr const char* title = "CAN bus hardware library";

class Version final : public Version_base<1, 20, 18, 218> {};

} // namespace qv::can_bus::hardware
