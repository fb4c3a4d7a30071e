#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <netinet/in.h>

#include "framework/log/hook.h"
#include "framework/thread/mutex.h"

namespace qv::socket {

/// An IPv4 address as the system keeps it: the first byte of its text is the lowest byte of the number.
using Address = std::uint32_t;

/// A TCP socket.
///
/// Thread: any; meant for one thread that opens, reads and closes while another writes. Every call works on the
/// connection that it finds at its start and keeps that one's descriptor from being closed, and given out anew,
/// until it is done. `close` shuts the connection down, so that a call which waits on another thread ends. The
/// lock is held for the exchange of a pointer, never during a system call.
class Socket {
public:
    /// With `logging` the socket takes a log client number, named by its own address and `description`, and
    /// reports its failures there.
    Socket(bool logging, std::string description);
    ~Socket();
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    /// Connects to `port` at `address`. A non-blocking connection counts as open while it is still being made;
    /// the first `read` then tells its fate. On any failure the socket is closed.
    [[nodiscard]] bool open(Address address, int family, std::uint16_t port, bool blocking_during_connect,
                            bool blocking_afterwards, bool no_delay);
    /// Waits for connections to `port`, 0 for any that is free.
    [[nodiscard]] bool listen_on(Address address, int family, std::uint16_t port, bool blocking, bool no_delay);
    /// Takes the next connection into `target`, which is closed before.
    [[nodiscard]] bool accept(Socket& target);
    bool is_open() const;

    /// Reads up to `size` bytes; `size` becomes the count. True with a count of 0 when nothing is there yet, false
    /// when the connection has ended, failed, or was never made.
    [[nodiscard]] bool read(std::uint8_t* buffer, std::size_t& size);
    /// Writes all `size` bytes. False when the connection ends, or a non-blocking socket can take no more;
    /// `written` tells how many went out in either case.
    [[nodiscard]] bool write(const std::uint8_t* bytes, std::size_t size, std::size_t& written);
    [[nodiscard]] bool write(const std::uint8_t* bytes, std::size_t size);
    /// Waits up to `milliseconds` for something to read; true when a `read` would not wait.
    [[nodiscard]] bool wait_readable(std::uint32_t milliseconds);
    bool set_blocking(bool blocking);
    bool set_no_delay(bool enabled);
    /// Safe when closed already.
    void close();

    /// "127.0.0.1:39767": the peer of a connection, the own side of a listening socket.
    std::string address_text() const;
    std::uint16_t port() const;
    /// What the last system call returned.
    int result() const noexcept { return result_; }

private:
    class Connection;

    std::shared_ptr<Connection> connection() const;
    std::shared_ptr<Connection> make_connection(int family);
    void publish(std::shared_ptr<Connection> connection, const sockaddr_in& address);
    bool apply_blocking(const Connection& connection, bool blocking);
    bool apply_no_delay(const Connection& connection, bool enabled);
    bool bind_and_listen(const Connection& connection, sockaddr_in& address);
    bool note(int result, const char* failure = nullptr);

    mutable thread::Mutex mutex_;
    sockaddr_in address_{};                  ///< guarded by `mutex_`
    std::shared_ptr<Connection> connection_; ///< guarded by `mutex_`; empty when closed
    std::atomic<int> result_{0};
    log::Client log_client_ = 0;
    bool logging_;
    std::string description_;
};

} // namespace qv::socket
