#include "config/place.h"

#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

#include "framework/file/operations.h"

namespace qv::config {

namespace {

/// Waits until a file or directory has reached the disk. False when it has not.
bool reach_disk(const std::string& path)
{
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    const bool reached = ::fsync(descriptor) == 0;
    ::close(descriptor);
    return reached;
}

std::string directory_of(const std::string& path)
{
    const auto parent = std::filesystem::path(path).parent_path();
    return parent.empty() ? "." : parent.string();
}

} // namespace

bool put_in_place(const std::string& scratch, const std::string& path)
{
    // The name must not reach the disk before the contents: that would leave an empty file under it.
    if (!reach_disk(scratch) || !file::rename(scratch, path, true)) {
        return false;
    }
    static_cast<void>(reach_disk(directory_of(path))); // failing that, the old document comes back, whole
    return true;
}

} // namespace qv::config
