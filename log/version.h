#pragma once

#include "framework/version.h"

namespace qv::log {

class Version final : public Version_base<2, 1, 6, 177> {};
inline constexpr const char* title = "log library";

} // namespace qv::log
