#pragma once

#include <string>

namespace qv::can_bus::flr {

/// The directory that is scanned at each start. The program names it itself, so that it and all in it lie below
/// FLINTROW_ROOT where that is set.
inline constexpr const char* startup_directory = "/usr/local/src/bitstreams/isonode";

/// Where the update file or directory of this path really lies. Used at the moment it is opened or looked at; what
/// is printed or stored keeps `path`.
std::string place_of(const std::string& path);

} // namespace qv::can_bus::flr
