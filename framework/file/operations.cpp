#include "framework/file/operations.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

#include "framework/file/file_crt.h"
#include "framework/file/path_text.h"
#include "framework/file/properties.h"

namespace qv::file {

namespace {

constexpr std::size_t block_size = 4096;

bool exists(const std::string& path) { return Properties(path).is_valid(); }

/// Copies to the end of `source`.
bool copy_rest(Interface& source, Interface& target)
{
    std::array<char, block_size> block;
    while (!source.end_of_file()) {
        const std::size_t count = source.read(block.data(), 1, block.size());
        if (target.write(block.data(), 1, count) != count) {
            return false;
        }
        if (count < block.size() && !source.end_of_file()) {
            return false; // a read error
        }
    }
    return target.flush() == 0;
}

/// Copies exactly `byte_count` bytes.
bool copy_bytes(Interface& source, Interface& target, std::size_t byte_count)
{
    std::array<char, block_size> block;
    while (byte_count > 0) {
        const std::size_t count = std::min(block.size(), byte_count);
        if (source.read(block.data(), 1, count) != count || target.write(block.data(), 1, count) != count) {
            return false;
        }
        byte_count -= count;
    }
    return target.flush() == 0;
}

/// Writes the wanted part of `path` to `scratch`.
bool extract_part(const std::string& path, const std::string& scratch, long byte_count, bool from_start)
{
    const auto source = open(path, mode::read);
    const long size = source == nullptr ? -1 : source->size();
    if (size < 0 || byte_count >= size) {
        return false;
    }
    const auto target = open(scratch, mode::write);
    return target != nullptr && source->seek(from_start ? 0 : size - byte_count, SEEK_SET) == 0 &&
           copy_bytes(*source, *target, static_cast<std::size_t>(byte_count));
}

} // namespace

bool copy(const std::string& source, const std::string& target, bool fail_if_source_missing)
{
    const auto from = open(source, mode::read);
    if (from == nullptr) {
        return errno == ENOENT && !fail_if_source_missing;
    }
    const auto to = open(target, mode::write);
    return to != nullptr && copy_rest(*from, *to);
}

bool keep_part(const std::string& path, long byte_count, bool from_start)
{
    if (byte_count < 0) {
        return false;
    }
    const std::string scratch = path + ".qv.temp";
    remove(scratch);
    if (extract_part(path, scratch, byte_count, from_start) && rename(scratch, path, true)) {
        return true;
    }
    remove(scratch);
    return false;
}

bool remove(const std::string& path) { return ::unlink(path.c_str()) == 0; }

bool rmdir(const std::string& path) { return ::rmdir(path.c_str()) == 0; }

bool mkdir(const std::string& path) { return ::mkdir(path.c_str(), 0775) == 0; }

bool make_path(std::string path)
{
    strip_character(path, '/');
    if (path.empty() || exists(path)) {
        return true;
    }
    const auto separator = path.rfind('/');
    const bool parent_stands = separator == std::string::npos || make_path(path.substr(0, separator));
    return parent_stands && mkdir(path);
}

bool rename(const std::string& from, const std::string& to, bool overwrite)
{
    return (overwrite || !exists(to)) && std::rename(from.c_str(), to.c_str()) == 0;
}

bool symlink(const std::string& target, const std::string& link)
{
    return ::symlink(target.c_str(), link.c_str()) == 0;
}

} // namespace qv::file
