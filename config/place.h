#pragma once

#include <string>

namespace qv::config {

/// Puts the whole and closed file `scratch` in the place of `path`, so that after a loss of power `path` is the
/// old file or the new one, whole. False when `path` stayed as it was. Both are paths of the file system.
[[nodiscard]] bool put_in_place(const std::string& scratch, const std::string& path);

} // namespace qv::config
