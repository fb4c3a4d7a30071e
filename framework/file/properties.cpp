#include "framework/file/properties.h"

#include <array>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>

#include "framework/thread/clock.h"

namespace qv::file {

namespace {

bool set_times(const std::string& path, std::time_t modified)
{
    const std::timespec moment{modified - time::time_offset(), 0};
    const std::array<std::timespec, 2> both = {moment, moment};
    return ::utimensat(AT_FDCWD, path.c_str(), both.data(), 0) == 0;
}

bool set_read_only(const std::string& path, bool read_only)
{
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return false;
    }
    const mode_t others = status.st_mode & 07777U & ~mode_t{S_IWUSR};
    return ::chmod(path.c_str(), read_only ? others : others | S_IWUSR) == 0;
}

} // namespace

Properties::Properties(const std::string& path)
{
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return;
    }
    valid = true;
    read_only = (status.st_mode & S_IWUSR) == 0;
    modified = status.st_mtime + time::time_offset();
    directory = S_ISDIR(status.st_mode);
    if (status.st_size <= std::numeric_limits<std::int32_t>::max()) {
        size = static_cast<std::int32_t>(status.st_size);
    }
}

bool apply_properties(const std::string& path, const Writeable_properties& properties)
{
    if (!properties.is_valid()) {
        return false;
    }
    if (properties.read_only) {
        return set_times(path, properties.modified) && set_read_only(path, true);
    }
    return set_read_only(path, false) && set_times(path, properties.modified);
}

} // namespace qv::file
