#include "service/line_reader.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "service/update_place.h"

namespace qv::can_bus::flr {

Line_reader::Line_reader(const std::string& path)
    // Not blocking: should the path by now lead to a pipe, nothing waits for its writer.
    : descriptor_(::open(place_of(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    , failed_(descriptor_ < 0)
    , at_end_(failed_)
    , buffer_(std::make_unique<char[]>(buffer_size))
{}

Line_reader::~Line_reader()
{
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

bool Line_reader::next(std::string_view& line)
{
    finish_long_line();
    std::size_t searched = 0;
    for (;;) {
        const char* start = buffer_.get() + begin_;
        const auto* feed = static_cast<const char*>(std::memchr(start + searched, '\n', end_ - begin_ - searched));
        if (feed != nullptr) {
            line = {start, static_cast<std::size_t>(feed - start)};
            begin_ += line.size() + 1;
            return true;
        }
        searched = end_ - begin_;
        if (searched == buffer_size) {
            line = {start, searched};
            begin_ = end_;
            in_long_line_ = true;
            return true;
        }
        if (at_end_ || !refill()) {
            line = {buffer_.get() + begin_, end_ - begin_};
            begin_ = end_;
            return !line.empty() && !failed_;
        }
    }
}

/// Moves what is unread to the front and reads more behind it. False when nothing came.
bool Line_reader::refill()
{
    std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    ssize_t count = 0;
    do {
        count = ::read(descriptor_, buffer_.get() + end_, buffer_size - end_);
    } while (count < 0 && errno == EINTR);
    failed_ = count < 0;
    at_end_ = count <= 0;
    end_ += at_end_ ? 0 : static_cast<std::size_t>(count);
    return !at_end_;
}

/// Drops the rest of a line of which only the beginning was given.
void Line_reader::finish_long_line()
{
    while (in_long_line_) {
        const auto* start = buffer_.get() + begin_;
        const auto* feed = static_cast<const char*>(std::memchr(start, '\n', end_ - begin_));
        begin_ = feed == nullptr ? end_ : begin_ + static_cast<std::size_t>(feed - start) + 1;
        in_long_line_ = feed == nullptr && refill();
    }
}

} // namespace qv::can_bus::flr
