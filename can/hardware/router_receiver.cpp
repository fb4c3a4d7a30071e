#include "can/hardware/router_receiver.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include <sys/socket.h>

#include "can/hardware/frame.h"
#include "can/hardware/frame_message.h"
#include "comm/broker.h"
#include "comm/master.h"
#include "comm/shutdown_message.h"
#include "comm/time_message.h"
#include "framework/byte_text.h"

namespace qv::can_bus::router::client::receiver {

namespace {

constexpr std::uint32_t wait_ms = 250;
/// How long the receiver rests while the bus thread has too many frames to read.
constexpr std::uint32_t rest_ms = 3;
constexpr log::Level log_level = 16;

/// A request of the null address to all for PGN 0xEE00, address claimed [ISO 11783-5 4.5.2].
constexpr std::uint32_t claim_request_identifier = 0x18EAFFFE;
constexpr std::array<std::uint8_t, 3> claim_request{0x00, 0xEE, 0x00};

} // namespace

void Receiver::thread_static(std::unique_ptr<thread_arguments::Thread_arguments> arguments)
{
    Receiver receiver(std::move(*arguments));
    if (receiver.start()) {
        receiver.run();
    }
}

Receiver::Receiver(thread_arguments::Thread_arguments arguments)
    : arguments_(std::move(arguments))
    , log_client_(arguments_.logging ? log::register_client(arguments_.name) : 0)
{}

Receiver::~Receiver()
{
    observers_.clear();
    comm::remove_dispatcher(dispatcher_);
}

bool Receiver::start()
{
    using comm::observer::make_broker;
    using comm::observer::Route;
    dispatcher_ = comm::create_dispatcher(arguments_.name, true);
    if (!dispatcher_ || !buffer_.resize(buffer_size)) {
        return false;
    }
    observers_.add(make_broker<comm::message::shutdown::Application>(this, &Receiver::on_shutdown,
                                                                     dispatcher_->id(), Route::from_primary));
    observers_.add(make_broker<comm::message::time_elapsed::Milliseconds_500>(
        this, &Receiver::on_time_elapsed, dispatcher_->id(), Route::from_primary));
    return true;
}

void Receiver::run()
{
    dispatcher_->process_queue(); // the stop may have come before the thread began
    if (running_) {
        connect(); // not only with the first tick: the ECU claims its address before that
    }
    while (running_) {
        const bool connected = arguments_.socket->is_open();
        if (connected != std::exchange(connected_, connected)) {
            on_connection_changed(connected);
        }
        if (connected && !receive()) {
            continue; // closed: the change is told before anything else
        }
        if (!connected) {
            dispatcher_->wait_for_message();
        }
        dispatcher_->process_queue();
    }
}

/// One attempt, which waits for nothing. The connection counts as open from now on, though it may still be
/// refused, which the first read tells.
void Receiver::connect()
{
    static_cast<void>(arguments_.socket->open(arguments_.address, AF_INET, arguments_.port, false, false, true));
}

/// Waits for the socket and reads what is there. False when the connection has ended.
bool Receiver::receive()
{
    if (*arguments_.pending >= pending_maximum) {
        dispatcher_->wait_for_message(rest_ms);
        return true;
    }
    // A stop that came while the connection was made has no socket to close any more: it must not wait.
    if (!arguments_.socket->wait_readable(dispatcher_->has_queued() ? 0 : wait_ms)) {
        return true;
    }
    std::size_t count = buffer_size - fill_;
    if (!arguments_.socket->read(buffer_.begin() + fill_, count)) {
        arguments_.socket->close();
        return false;
    }
    if (count > 0) {
        log_bytes(count);
        fill_ += static_cast<std::uint32_t>(count);
        parse();
    }
    return true;
}

/// Reports the bytes just read, which stand behind those in use.
void Receiver::log_bytes(std::size_t count) const
{
    if (arguments_.logging && log::accepts(log_level)) {
        const auto bytes = Byte_array_fix::view(buffer_.bytes().subspan(fill_, count));
        log::write(log_level, log_client_, "r %zu %s", static_cast<unsigned>(count), to_hex_text(bytes).c_str());
    }
}

/// Has every node tell its address anew: to the stack the request looks like a frame of the bus, and with a
/// connection it goes out to the real one too. What is left of a record belonged to the former connection.
void Receiver::on_connection_changed(bool connected)
{
    fill_ = 0;
    comm::post_to(arguments_.client_id,
                  std::make_unique<frame::message::Transmitted>(claim_request, claim_request_identifier,
                                                                frame::message::null_address));
    deliver(claim_request, claim_request_identifier);
    if (arguments_.logging) {
        log::write(log_level, log_client_, "connection %s", connected ? "established" : "terminated");
    }
}

/// Takes the whole records out of the buffer. The rest of a record waits for the next read: nothing in the
/// stream would show where the next record begins.
void Receiver::parse()
{
    std::span<const std::uint8_t> rest = buffer_.bytes().first(fill_);
    for (; rest.size() >= frame::Frame::record_size; rest = rest.subspan(frame::Frame::record_size)) {
        const auto frame = frame::Frame::decode(rest.first<frame::Frame::record_size>());
        if (frame && frame->extended && !frame->remote && !frame->error) {
            deliver(frame->data.bytes(), frame->identifier);
        }
    }
    std::copy(rest.begin(), rest.end(), buffer_.begin());
    fill_ = static_cast<std::uint32_t>(rest.size());
}

void Receiver::deliver(std::span<const std::uint8_t> data, std::uint32_t identifier)
{
    if (const auto client = comm::find_dispatcher(arguments_.client_id)) {
        ++*arguments_.pending;
        client->post(std::make_unique<frame::message::Received>(data, identifier));
    }
}

void Receiver::on_shutdown(comm::message::Message& /*message*/) { running_ = false; }

/// The one attempt of this tick.
void Receiver::on_time_elapsed(comm::message::Message& /*message*/)
{
    if (!connected_ && !arguments_.socket->is_open()) { // the end of the former connection is told first
        connect();
    }
}

} // namespace qv::can_bus::router::client::receiver
