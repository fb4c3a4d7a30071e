#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace qv::file::test {

/// A new directory for the time of a test. No other has its name: not that of a process with the same number, nor
/// one that a killed test left behind.
class Scratch_folder {
public:
    /// `name` is how the directory's name begins. Throws std::system_error when there is no place for it.
    explicit Scratch_folder(const std::string& name = "flintrow-test")
        : path_(std::filesystem::temp_directory_path() / (name + "-XXXXXX"))
    {
        if (::mkdtemp(path_.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), path_);
        }
    }
    ~Scratch_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Scratch_folder(const Scratch_folder&) = delete;
    Scratch_folder& operator=(const Scratch_folder&) = delete;

    /// Absolute, without a slash at its end.
    const std::string& path() const noexcept { return path_; }
    /// The last part of the path.
    std::string name() const { return std::filesystem::path(path_).filename(); }
    /// The path of something in it.
    std::string operator/(const std::string& entry) const { return path_ + '/' + entry; }

private:
    std::string path_;
};

} // namespace qv::file::test
