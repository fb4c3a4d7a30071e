#include "service/update_place.h"

#include "framework/file/root.h"

namespace qv::can_bus::flr {

std::string place_of(const std::string& path)
{
    const std::string within = std::string(startup_directory) + '/';
    return path == startup_directory || path.starts_with(within) ? file::rooted(path) : path;
}

} // namespace qv::can_bus::flr
