#include "service/update_place.h"

#include <string_view>

#include "framework/file/root.h"

namespace qv::can_bus::flr {

std::string place_of(const std::string& path)
{
    constexpr std::string_view directory = startup_directory;
    const bool is_there =
        path.starts_with(directory) && (path.size() == directory.size() || path[directory.size()] == '/');
    return is_there ? file::rooted(path) : path;
}

} // namespace qv::can_bus::flr
