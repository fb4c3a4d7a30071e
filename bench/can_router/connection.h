#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "bench/wire/record.h"

namespace bench {

/// The router's end of one client's connection. Owns the socket, which never blocks.
class Connection {
public:
    /// Bytes that a client may leave unread before it loses its connection.
    static constexpr std::size_t backlog_limit = 1U << 20;

    explicit Connection(int descriptor) noexcept
        : descriptor_(descriptor)
    {}
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    [[nodiscard]] int descriptor() const noexcept { return descriptor_; }
    /// Bytes wait for the socket to take them.
    [[nodiscard]] bool has_backlog() const noexcept { return !out_.empty(); }
    /// The client is gone, or too slow; the router drops it.
    [[nodiscard]] bool is_lost() const noexcept { return lost_; }

    /// Reads once and hands on every whole record; one that tells of more than 8 bytes is dropped.
    void read(const std::function<void(const Record&)>& receive);
    void send(const Record_bytes& bytes);
    void flush();

private:
    int descriptor_;
    bool lost_ = false;
    std::array<std::uint8_t, 256 * record_size> in_{};
    std::size_t fill_ = 0; ///< bytes of `in_`, fewer than a record between two reads
    std::vector<std::uint8_t> out_;
};

} // namespace bench
