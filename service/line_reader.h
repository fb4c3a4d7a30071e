#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace qv::can_bus::flr {

/// Reads a text file line by line through one buffer of 64 KiB.
class Line_reader {
public:
    static constexpr std::size_t buffer_size = 65536;

    explicit Line_reader(const std::string& path);
    ~Line_reader();
    Line_reader(const Line_reader&) = delete;
    Line_reader& operator=(const Line_reader&) = delete;

    /// The next line without its line feed, valid until the next call. Of a line longer than the buffer only
    /// the beginning is given. False at the end of the file and after an error.
    [[nodiscard]] bool next(std::string_view& line);
    /// The file could not be opened or read.
    bool failed() const noexcept { return failed_; }

private:
    bool refill();
    void finish_long_line();

    int descriptor_;
    bool failed_ = false;
    bool at_end_ = false;
    bool in_long_line_ = false; ///< the beginning of a line was given, its rest is to be dropped
    std::unique_ptr<char[]> buffer_;
    std::size_t begin_ = 0; ///< first unread byte
    std::size_t end_ = 0;   ///< behind the last byte read
};

} // namespace qv::can_bus::flr
