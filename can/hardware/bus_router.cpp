#include "can/hardware/bus_router.h"

#include <atomic>
#include <deque>
#include <latch>
#include <utility>

#include "can/hardware/frame_message.h"
#include "can/hardware/router_receiver.h"
#include "can/hardware/router_transmitter.h"
#include "comm/broker.h"
#include "comm/master.h"
#include "comm/shutdown_message.h"
#include "comm/time_message.h"
#include "framework/socket/address.h"
#include "framework/thread/handle.h"

namespace qv::can_bus::hardware::device::router {

namespace {

using can_bus::router::client::receiver::Receiver;
using can_bus::router::client::thread_arguments::Thread_arguments;
using can_bus::router::client::transmitter::Transmitter;
using Thread_function = void (*)(std::unique_ptr<Thread_arguments>);

constexpr const char* client_name = "CAN bus router client";

} // namespace

/// Thread: the bus thread.
class Bus_router::Private_implementation {
public:
    ~Private_implementation() { close(); }

    bool open(Thread_arguments arguments);
    void close();
    /// Moves frames on: the received ones to the list, those to transmit to the transmitter.
    void drain();

    std::shared_ptr<comm::dispatcher::Dispatcher> dispatcher;     ///< the client's; empty when closed
    std::deque<std::unique_ptr<comm::message::Message>> received; ///< in order of arrival
    bool owns_core = false;                              ///< this object started the comm core, and stops it
    std::shared_ptr<std::atomic<std::uint32_t>> pending; ///< posted by the receiver and not read yet

private:
    bool start_core();
    bool start_thread(const Thread_arguments& arguments, const char* suffix, Thread_function function);
    void on_received_message(comm::message::Message& message);

    std::deque<std::shared_ptr<thread::Handle>> threads_;
    comm::observer::Observer_list observers_;
};

bool Bus_router::Private_implementation::open(Thread_arguments arguments)
{
    if (!start_core()) {
        return false;
    }
    dispatcher = comm::create_dispatcher(client_name, false);
    if (!dispatcher) {
        return false;
    }
    arguments.client_id = dispatcher->id();
    arguments.pending = pending = std::make_shared<std::atomic<std::uint32_t>>(0);
    arguments.transmitter_ready = std::make_shared<std::latch>(1);
    if (!start_thread(arguments, " receiver", &Receiver::thread_static) ||
        !start_thread(arguments, " transmitter", &Transmitter::thread_static)) {
        return false;
    }
    // Frames that nobody takes yet would be lost, among them the requests by which the stack finds the others.
    arguments.transmitter_ready->wait();
    observers_.add(comm::observer::make_broker<frame::message::Received>(
        this, &Private_implementation::on_received_message, dispatcher->id()));
    return true;
}

/// Brings a core up when the program has none: the client works in such a program too.
bool Bus_router::Private_implementation::start_core()
{
    if (comm::primary_dispatcher()) {
        return true;
    }
    owns_core = comm::core_start(0) &&
                comm::handlers_start(client_name, comm::flag::thread_handle | comm::flag::time_tick);
    return owns_core;
}

bool Bus_router::Private_implementation::start_thread(const Thread_arguments& arguments, const char* suffix,
                                                      Thread_function function)
{
    auto own = std::make_unique<Thread_arguments>(arguments);
    own->name += suffix;
    threads_.push_back(std::make_shared<thread::Handle>(own->name));
    thread::report_lifecycle(threads_.back(), false); // the core waits for it even if it begins after the stop
    return thread::argument::start(threads_.back(), function, std::move(own), thread::Ending::join);
}

/// With a core of its own it also ends the two threads; otherwise they end with the whole program.
void Bus_router::Private_implementation::close()
{
    observers_.clear();
    if (owns_core) {
        if (const auto primary = comm::primary_dispatcher()) {
            primary->post(std::make_unique<comm::message::shutdown::Application>());
            primary->process_queue();
        }
    }
    comm::remove_dispatcher(dispatcher);
    dispatcher.reset();
    received.clear();
    if (owns_core) {
        comm::master_stop();
        owns_core = false;
        for (const auto& thread : threads_) {
            thread->stop(); // nothing is left to wait for when the core has joined it already
        }
    }
    threads_.clear();
}

void Bus_router::Private_implementation::drain()
{
    if (dispatcher) {
        dispatcher->process_queue();
    }
}

void Bus_router::Private_implementation::on_received_message(comm::message::Message& message)
{
    received.push_back(message.clone());
}

Bus_router::Bus_router(std::uint32_t address, std::uint16_t port, bool logging, bool connection_logging)
    : Bus(client_name, logging)
    , implementation_(std::make_unique<Private_implementation>())
    , address_(address)
    , port_(port)
    , connection_logging_(connection_logging)
{}

Bus_router::~Bus_router() = default;

std::string Bus_router::description() const
{
    return std::string(client_name) + " " + qv::socket::address_text(address_) + ":" + std::to_string(port_);
}

void Bus_router::close() { implementation_->close(); }

bool Bus_router::is_open() const { return implementation_->dispatcher != nullptr; }

bool Bus_router::open()
{
    if (is_open()) {
        return true;
    }
    auto connection = std::make_shared<qv::socket::Socket>(connection_logging_, client_name);
    const bool opened = implementation_->open({.client_id = 0,
                                               .address = address_,
                                               .port = port_,
                                               .logging = connection_logging_,
                                               .name = client_name,
                                               .socket = std::move(connection),
                                               .pending = nullptr,
                                               .transmitter_ready = nullptr});
    if (!opened) {
        close();
    }
    return opened;
}

bool Bus_router::read(Message& message)
{
    auto& list = implementation_->received;
    if (list.empty()) {
        return false;
    }
    const auto& oldest = static_cast<const frame::message::Received&>(*list.front());
    message.identifier = oldest.identifier;
    message.length = oldest.length;
    message.data = oldest.data;
    list.pop_front();
    if (auto& pending = *implementation_->pending; pending > 0) {
        --pending; // this thread alone counts down
    }
    return true;
}

void Bus_router::device_time_elapsed(std::uint32_t /*elapsed*/)
{
    if (implementation_->owns_core) {
        if (const auto primary = comm::primary_dispatcher()) {
            primary->process_queue();
            primary->post(std::make_unique<comm::message::Time_tick>());
        }
    }
    implementation_->drain();
}

bool Bus_router::write(std::uint32_t id, const std::uint8_t* data, std::uint32_t length, std::uint8_t /*reserved*/)
{
    if (!is_open() || length > data_length_maximum || (data == nullptr && length != 0)) {
        return false;
    }
    implementation_->dispatcher->post(
        std::make_unique<frame::message::Transmitted>(std::span(data, length), id, frame::message::null_address));
    // Hand it to the transmitter now; waiting for the next tick would double the response time.
    implementation_->drain();
    return true;
}

bool Bus_router::has_frame() const { return !implementation_->received.empty(); }

} // namespace qv::can_bus::hardware::device::router
