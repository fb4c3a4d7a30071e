#pragma once

#include <memory>

#include "can/hardware/router_thread_arguments.h"
#include "comm/dispatcher.h"
#include "comm/observer.h"
#include "framework/log/hook.h"

namespace qv::can_bus::router::client::transmitter {

/// Writes the frames of the client's dispatcher to the router. Without a connection they are lost.
///
/// Thread: its own, from construction to destruction.
class Transmitter {
public:
    /// The body of the thread.
    static void thread_static(std::unique_ptr<thread_arguments::Thread_arguments> arguments);

    explicit Transmitter(thread_arguments::Thread_arguments arguments);
    ~Transmitter();
    Transmitter(const Transmitter&) = delete;
    Transmitter& operator=(const Transmitter&) = delete;

private:
    bool start();
    void run();
    void on_transmit_message(comm::message::Message& message);
    void on_shutdown(comm::message::Message& message);

    std::shared_ptr<comm::dispatcher::Dispatcher> dispatcher_;
    bool running_ = true;
    thread_arguments::Thread_arguments arguments_;
    log::Client log_client_; ///< 0 unless the connection is logged
    comm::observer::Observer_list observers_;
};

} // namespace qv::can_bus::router::client::transmitter
