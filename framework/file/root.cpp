#include "framework/file/root.h"

#include <cstdlib>

#include "framework/file/path_text.h"

namespace qv::file {

std::string rooted(std::string_view path)
{
    const char* const variable = std::getenv("FLINTROW_ROOT");
    if (variable == nullptr || !path.starts_with('/')) {
        return std::string(path);
    }
    std::string root(variable);
    strip_character(root, '/');
    return root.append(path);
}

} // namespace qv::file
