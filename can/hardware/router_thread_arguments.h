#pragma once

#include <atomic>
#include <cstdint>
#include <latch>
#include <memory>
#include <string>

#include "comm/observer.h"
#include "framework/socket/socket.h"

namespace qv::can_bus::router::client::thread_arguments {

/// What each of the two threads of a router client is given, and owns.
struct Thread_arguments {
    comm::dispatcher::Dispatcher_id client_id; ///< the client's dispatcher, where frames go and come from
    qv::socket::Address address;
    std::uint16_t port;
    bool logging;
    std::string name;                           ///< of the thread and of its dispatcher
    std::shared_ptr<qv::socket::Socket> socket; ///< one for both threads
    /// Frames on their way from the receiver to the bus thread, which counts them off.
    std::shared_ptr<std::atomic<std::uint32_t>> pending;
    /// Counted down by the transmitter once frames to send reach it, or it has failed.
    std::shared_ptr<std::latch> transmitter_ready;
};

} // namespace qv::can_bus::router::client::thread_arguments
