#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "can/bus/module.h"
#include "can/hardware/bus.h"
#include "can/network/bus.h"
#include "comm/observer.h"
#include "comm/timeout.h"
#include "framework/thread/signal.h"

namespace qv::can_bus::application::bus_thread {

/// The thread on which the whole CAN stack runs, from frames to modules, so that none of it needs a lock.
///
/// Thread: made, run and destroyed on its own. Other threads reach it by posts to the bus's dispatchers.
class Bus_thread {
public:
    /// The whole life of the thread: builds the stack, runs it until `shutdown::Application`, takes it down.
    static void thread_static();

    Bus_thread() = default;
    ~Bus_thread();
    Bus_thread(const Bus_thread&) = delete;
    Bus_thread& operator=(const Bus_thread&) = delete;

private:
    bool set_up();
    bool create_bus();
    void create_device();
    void create_brokers();
    void create_modules();
    void run();
    void tear_down();

    bool has_work() const;
    void read_frames();
    void process_queues();
    void report_state(std::uint32_t elapsed);

    void on_transmit_can_message(comm::message::Message& message);
    void on_get_interface_description(comm::message::Message& message);
    void on_get_logging_type(comm::message::Message& message);
    void on_set_logging_type(comm::message::Message& message);
    void on_time_elapsed(comm::message::Message& message);
    void on_shutdown(comm::message::Message& message);

    bool running_ = true;
    std::unique_ptr<bus::Bus> bus_;
    std::unique_ptr<hardware::Bus> device_;
    timeout::Cyclic<500> state_period_;
    std::optional<std::uint32_t> since_state_; ///< milliseconds since the last `CAN_state`; empty before the first
    std::shared_ptr<thread::signal::Signal> signal_;
    std::vector<std::unique_ptr<module::Module>> modules_;
    comm::observer::Observer_list observers_;
};

} // namespace qv::can_bus::application::bus_thread
