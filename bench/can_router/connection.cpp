#include "bench/can_router/connection.h"

#include <algorithm>
#include <cerrno>
#include <span>

#include <sys/socket.h>
#include <unistd.h>

namespace bench {

namespace {

bool only_full() noexcept { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

} // namespace

Connection::~Connection() { ::close(descriptor_); }

void Connection::read(const std::function<void(const Record&)>& receive)
{
    const auto count = ::recv(descriptor_, in_.data() + fill_, in_.size() - fill_, 0);
    if (count <= 0) {
        lost_ = lost_ || count == 0 || !only_full();
        return;
    }
    fill_ += static_cast<std::size_t>(count);
    std::size_t used = 0;
    for (; fill_ - used >= record_size; used += record_size) {
        if (const auto record = decode(std::span(in_).subspan(used))) {
            receive(*record);
        }
    }
    std::copy(in_.begin() + static_cast<std::ptrdiff_t>(used), in_.begin() + static_cast<std::ptrdiff_t>(fill_),
              in_.begin());
    fill_ -= used;
}

void Connection::send(const Record_bytes& bytes)
{
    out_.insert(out_.end(), bytes.begin(), bytes.end());
    flush();
    lost_ = lost_ || out_.size() > backlog_limit;
}

void Connection::flush()
{
    if (out_.empty() || lost_) {
        return;
    }
    const auto count = ::send(descriptor_, out_.data(), out_.size(), MSG_NOSIGNAL);
    if (count < 0) {
        lost_ = !only_full();
        return;
    }
    out_.erase(out_.begin(), out_.begin() + count);
}

} // namespace bench
