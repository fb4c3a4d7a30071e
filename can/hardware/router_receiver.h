#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "can/hardware/router_thread_arguments.h"
#include "comm/dispatcher.h"
#include "comm/observer.h"
#include "framework/byte_array.h"
#include "framework/log/hook.h"

namespace qv::can_bus::router::client::receiver {

/// Keeps the connection to the router and reads the frames that come from there.
///
/// It tries to connect at its start, then at each 500 ms tick for as long as there is no connection. What it reads
/// goes as `frame::message::Received` to the client's dispatcher, extended data frames only.
///
/// Thread: its own, from construction to destruction.
class Receiver {
public:
    /// The body of the thread.
    static void thread_static(std::unique_ptr<thread_arguments::Thread_arguments> arguments);

    explicit Receiver(thread_arguments::Thread_arguments arguments);
    ~Receiver();
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

private:
    static constexpr std::uint32_t buffer_size = 1024;
    /// Frames that may wait for the bus thread; beyond that the router has to wait, and memory stays bounded.
    static constexpr std::uint32_t pending_maximum = 4096;

    bool start();
    void run();
    void connect();
    bool receive();
    void log_bytes(std::size_t count) const;
    void on_connection_changed(bool connected);
    void parse();
    void deliver(std::span<const std::uint8_t> data, std::uint32_t identifier);

    void on_shutdown(comm::message::Message& message);
    void on_time_elapsed(comm::message::Message& message);

    std::shared_ptr<comm::dispatcher::Dispatcher> dispatcher_;
    Byte_array buffer_;
    std::uint32_t fill_ = 0; ///< bytes in the buffer, less than a record between two reads
    bool running_ = true;
    bool connected_ = false; ///< as told last
    thread_arguments::Thread_arguments arguments_;
    log::Client log_client_; ///< 0 unless the connection is logged
    comm::observer::Observer_list observers_;
};

} // namespace qv::can_bus::router::client::receiver
