#include "can/bus/bus_thread.h"

#include <utility>

#include "can/bus/frame_observer.h"
#include "can/bus/title.h"
#include "can/hardware/config.h"
#include "can/hardware/frame_message.h"
#include "can/network/bus_message.h"
#include "can/network/bus_properties.h"
#include "comm/broker.h"
#include "comm/master.h"
#include "comm/shutdown_message.h"
#include "comm/time_message.h"
#include "config/primary.h"
#include "framework/log/hook.h"
#include "framework/thread/cycle_statistics.h"

namespace qv::can_bus::application::bus_thread {

namespace {

using comm::observer::make_broker;
using comm::observer::Route;

constexpr const char* thread_title = "bus thread";
constexpr log::Level log_level = 5;
constexpr std::uint32_t statistics_window_ms = 5000;

} // namespace

void Bus_thread::thread_static()
{
    Bus_thread thread;
    if (thread.set_up()) {
        thread.run();
    }
}

Bus_thread::~Bus_thread() { tear_down(); }

bool Bus_thread::set_up()
{
    if (!create_bus()) {
        return false;
    }
    create_device();
    create_brokers();
    create_modules();
    // The last to come: time begins once everything stands.
    observers_.add(make_broker<comm::message::time_elapsed::Time_elapsed>(
        this, &Bus_thread::on_time_elapsed, bus_->dispatcher_id(), Route::from_primary));
    return true;
}

bool Bus_thread::create_bus()
{
    signal_ = thread::signal::Signal::create();
    if (!signal_) {
        return false;
    }
    bus_ = bus::Bus::create(bus::properties::read(), signal_,
                            [](bus::Bus& bus) { return std::make_shared<bus::Frame_observer>(bus); });
    return bus_ != nullptr;
}

/// A device that does not open stays closed in its place, and the stack sees an empty bus.
void Bus_thread::create_device()
{
    const auto configuration = config::primary_configuration();
    hardware::config::Hardware settings(configuration.get());
    device_ = hardware::create_hardware(settings);
    static_cast<void>(device_->open_logged());
}

void Bus_thread::create_brokers()
{
    using namespace bus::message;
    const auto id = bus_->dispatcher_id();
    observers_.add(make_broker<frame::message::Transmitted>(this, &Bus_thread::on_transmit_can_message, id));
    observers_.add(
        make_broker<Get_interface_description_request>(this, &Bus_thread::on_get_interface_description, id));
    observers_.add(make_broker<Get_logging_type_request>(this, &Bus_thread::on_get_logging_type, id));
    observers_.add(make_broker<Set_logging_type_request>(this, &Bus_thread::on_set_logging_type, id));
    observers_.add(make_broker<comm::message::shutdown::Application>(this, &Bus_thread::on_shutdown, id,
                                                                     Route::from_primary));
}

void Bus_thread::create_modules()
{
    log::write(log_level, bus_->log_client(), "%s %s module creation", title, thread_title);
    for (const auto factory : module::Registry::instance().factories()) {
        if (auto created = factory(bus_->dispatcher_id())) {
            log::write(log_level, bus_->log_client(), "%s created module %s", thread_title,
                       created->title().c_str());
            modules_.push_back(std::move(created));
        }
    }
}

void Bus_thread::run()
{
    const auto test = [this] { return has_work(); };
    const Predicate_of predicate(test);
    thread::Cycle_statistics statistics(thread_title, bus_->log_client(), statistics_window_ms);
    while (running_) {
        signal_->wait_unless(predicate, 0);
        statistics.begin();
        read_frames();
        process_queues();
        statistics.end();
    }
}

/// Closes the device first; then the stack is destroyed from the top down, and the device after it. What the upper
/// layers still send on their way out stays in the bus's dispatcher, which nobody drains any more.
void Bus_thread::tear_down()
{
    if (device_) {
        device_->close();
    }
    modules_.clear();
    observers_.clear();
    bus_.reset();
    device_.reset();
    signal_.reset();
}

/// Whether a pass would find something to do. A frame may also become ready in the middle of a pass, when the
/// device has had its time.
bool Bus_thread::has_work() const
{
    if (bus_->dispatcher()->has_queued() || device_->has_frame()) {
        return true;
    }
    for (const auto& ecu : bus_->ecus()) {
        if (ecu->dispatcher()->has_queued()) {
            return true;
        }
    }
    return false;
}

void Bus_thread::read_frames()
{
    hardware::Message frame;
    while (device_->receive(frame)) {
        bus_->dispatcher()->post(std::make_unique<frame::message::Received>(frame.data.bytes(), frame.identifier));
    }
}

void Bus_thread::process_queues()
{
    bus_->dispatcher()->process_queue();
    for (std::size_t index = 0; index < bus_->ecus().size(); ++index) { // a handler may add or remove an ECU
        const auto dispatcher = bus_->ecus()[index]->dispatcher();
        dispatcher->process_queue();
    }
}

void Bus_thread::on_transmit_can_message(comm::message::Message& message)
{
    const auto& frame = dynamic_cast<const frame::message::Transmitted&>(message);
    device_->transmit(frame.identifier, frame.data.data(), frame.data.size(), frame.destination);
}

void Bus_thread::on_get_interface_description(comm::message::Message& message)
{
    using namespace bus::message;
    const auto& request = dynamic_cast<const Get_interface_description_request&>(message);
    comm::post_to(request.requester, std::make_unique<Get_interface_description_response>(device_->description()));
}

void Bus_thread::on_get_logging_type(comm::message::Message& message)
{
    using namespace bus::message;
    const auto& request = dynamic_cast<const Get_logging_type_request&>(message);
    const auto type = device_->logger().enabled() ? Logging_type::all_frames : Logging_type::none;
    comm::post_to(request.requester, std::make_unique<Get_logging_type_response>(type));
}

void Bus_thread::on_set_logging_type(comm::message::Message& message)
{
    using namespace bus::message;
    const auto& request = dynamic_cast<const Set_logging_type_request&>(message);
    const bool known = request.type == static_cast<std::uint32_t>(Logging_type::none) ||
                       request.type == static_cast<std::uint32_t>(Logging_type::all_frames);
    if (known) {
        device_->logger().set_enabled(request.type == static_cast<std::uint32_t>(Logging_type::all_frames));
    }
    comm::post_to(request.requester, std::make_unique<Set_logging_type_response>(known));
}

/// The frames that the device has fetched with the tick are read at once: they come before the tick of the
/// ECUs, whose transport sessions then answer within it and not with the next.
void Bus_thread::on_time_elapsed(comm::message::Message& message)
{
    const std::uint32_t elapsed = dynamic_cast<const comm::message::time_elapsed::Time_elapsed&>(message).elapsed;
    device_->on_time_elapsed(elapsed);
    read_frames();
    report_state(elapsed);
}

void Bus_thread::report_state(std::uint32_t elapsed)
{
    if (since_state_) {
        *since_state_ += elapsed;
    }
    if (!state_period_.ends_within(elapsed)) {
        return;
    }
    const auto& [received, transmitted, failures] = device_->counters();
    bus_->dispatcher()->post(std::make_unique<bus::message::CAN_state>(
        bus::message::CAN_state::Counts{received, transmitted, failures}, since_state_.value_or(0)));
    since_state_ = 0;
}

void Bus_thread::on_shutdown(comm::message::Message& /*message*/) { running_ = false; }

} // namespace qv::can_bus::application::bus_thread
