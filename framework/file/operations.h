#pragma once

#include <string>

namespace qv::file {

/// Copies the contents of `source` to `target`, which is replaced. True when all of it was written; when `source`
/// does not exist, the opposite of `fail_if_source_missing`, and no `target` appears.
[[nodiscard]] bool copy(const std::string& source, const std::string& target, bool fail_if_source_missing);

/// Cuts a file down to its first (`from_start`) or its last `byte_count` bytes. False when nothing has to be cut,
/// as the file is not longer than that, and on failure; the file is then as before. Works in a scratch file
/// beside it.
[[nodiscard]] bool keep_part(const std::string& path, long byte_count, bool from_start);

/// All of these are true on success.
bool remove(const std::string& path);
bool rmdir(const std::string& path);
/// Makes one directory, with the mode 0775.
bool mkdir(const std::string& path);
/// Makes a directory and those above it; true when it exists already.
bool make_path(std::string path);
/// Without `overwrite` false when `to` exists.
bool rename(const std::string& from, const std::string& to, bool overwrite);
/// Makes `link`, which points to the text `target`.
bool symlink(const std::string& target, const std::string& link);

} // namespace qv::file
