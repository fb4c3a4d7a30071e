#pragma once

#include "framework/version.h"

namespace qv::config {

class Version final : public Version_base<1, 13, 11, 207> {};
inline constexpr const char* title = "configuration library";

} // namespace qv::config
