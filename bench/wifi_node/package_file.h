#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace bench::wifi {

/// A package on its way in: counted, and written to a file when one is wanted.
class Package_file {
public:
    /// `path`: empty for no file. The file is made with the first byte.
    explicit Package_file(std::string path)
        : path_(std::move(path))
    {}

    /// False when the file can't be written.
    [[nodiscard]] bool add(std::string_view bytes);
    /// All bytes are there. False when the file can't be written.
    [[nodiscard]] bool finish();

    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }

private:
    struct Close {
        void operator()(std::FILE* file) const noexcept { std::fclose(file); }
    };

    std::string path_;
    std::uint64_t size_ = 0; ///< bytes
    std::unique_ptr<std::FILE, Close> file_;
};

} // namespace bench::wifi
