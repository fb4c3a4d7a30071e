#include "can/hardware/router_transmitter.h"

#include <utility>

#include "can/hardware/frame.h"
#include "can/hardware/frame_message.h"
#include "comm/broker.h"
#include "comm/master.h"
#include "comm/shutdown_message.h"
#include "framework/byte_text.h"

namespace qv::can_bus::router::client::transmitter {

namespace {

constexpr log::Level log_level = 16;

frame::Frame to_frame(const frame::message::Transmitted& message)
{
    frame::Frame frame;
    frame.data = message.data;
    frame.length = message.length;
    frame.identifier = message.identifier;
    frame.error = message.error;
    frame.extended = message.extended;
    frame.remote = message.remote;
    return frame;
}

} // namespace

void Transmitter::thread_static(std::unique_ptr<thread_arguments::Thread_arguments> arguments)
{
    const auto ready = arguments->transmitter_ready;
    Transmitter transmitter(std::move(*arguments));
    const bool started = transmitter.start();
    ready->count_down();
    if (started) {
        transmitter.run();
    }
}

Transmitter::Transmitter(thread_arguments::Thread_arguments arguments)
    : arguments_(std::move(arguments))
    , log_client_(arguments_.logging ? log::register_client(arguments_.name) : 0)
{}

Transmitter::~Transmitter()
{
    observers_.clear();
    const auto client = comm::find_dispatcher(arguments_.client_id);
    if (client && dispatcher_) {
        client->remove_route(frame::message::Transmitted::id, dispatcher_->id());
    }
    comm::remove_dispatcher(dispatcher_);
}

bool Transmitter::start()
{
    using comm::observer::make_broker;
    using comm::observer::Route;
    dispatcher_ = comm::create_dispatcher(arguments_.name, true);
    const auto client = comm::find_dispatcher(arguments_.client_id);
    if (!dispatcher_ || !client) {
        return false;
    }
    const auto id = dispatcher_->id();
    observers_.add(make_broker<comm::message::shutdown::Application>(this, &Transmitter::on_shutdown, id,
                                                                     Route::from_primary));
    observers_.add(make_broker<frame::message::Transmitted>(this, &Transmitter::on_transmit_message, id));
    client->add_route(frame::message::Transmitted::id, id);
    return true;
}

void Transmitter::run()
{
    while (running_) {
        dispatcher_->wait_for_message();
        dispatcher_->process_queue();
    }
}

/// A record of which nothing went out is lost, and no more: the router reads too slowly, the connection is still
/// being made, or it has ended, which wakes the receiver by itself. One that went out in part would put the stream
/// out of step for good, so the connection is given up; the receiver makes the next one.
void Transmitter::on_transmit_message(comm::message::Message& message)
{
    if (!arguments_.socket->is_open()) {
        return;
    }
    const auto record = to_frame(dynamic_cast<frame::message::Transmitted&>(message)).encode();
    std::size_t written = 0;
    if (!arguments_.socket->write(record.data(), record.size(), written) && written > 0) {
        arguments_.socket->close();
    }
    if (arguments_.logging && log::accepts(log_level)) {
        log::write(log_level, log_client_, "t %zu %s", static_cast<unsigned>(record.size()),
                   to_hex_text(Byte_array_fix::view(record)).c_str());
    }
}

/// Closing the socket ends the receiver's wait for it.
void Transmitter::on_shutdown(comm::message::Message& /*message*/)
{
    running_ = false;
    arguments_.socket->close();
}

} // namespace qv::can_bus::router::client::transmitter
