#pragma once

#include <string>
#include <string_view>

namespace qv::file {

/// Where an absolute path that the program itself names really lies: below the directory that the environment
/// variable FLINTROW_ROOT names, when it is set. A relative path stays as it is. Used at the moment a file is
/// opened or run; what is printed or stored keeps the plain path.
std::string rooted(std::string_view path);

} // namespace qv::file
