#include "can/bus/application.h"

#include <chrono>

#include "can/bus/bus_thread.h"
#include "comm/broker.h"
#include "comm/master.h"
#include "comm/shutdown_message.h"
#include "framework/thread/pause.h"

namespace qv::can_bus::application {

/// While the core still runs, somebody else owns it, and stops the bus thread later. When it is gone, the bus
/// thread was told to stop; a second join does nothing.
Application::~Application()
{
    release_inner();
    observers_.clear();
    if (bus_thread_ && !comm::primary_dispatcher()) {
        bus_thread_->join();
    }
}

int Application::run()
{
    const int result = Cascade::run();
    while (running_) {
        thread::pause(std::chrono::milliseconds(100));
    }
    return result;
}

bool Application::init_own()
{
    const bool started = start();
    if (!started) {
        running_ = false;
    }
    return started; // not `running_`, which the stop may have cleared already
}

bool Application::deinit_own()
{
    observers_.clear();
    return true;
}

bool Application::start()
{
    if (!comm::primary_dispatcher()) {
        return false;
    }
    observers_.add(comm::observer::make_broker<comm::message::shutdown::Application>(
        this, &Application::on_shutdown, comm::primary_dispatcher_id()));
    if (!comm::start_primary_thread()) {
        return false;
    }
    bus_thread_ = std::make_shared<thread::Handle>("CAN bus");
    thread::report_lifecycle(bus_thread_, false); // so that a stop waits for it even if it has not begun yet
    return thread::argument_less::start(bus_thread_, &bus_thread::Bus_thread::thread_static, thread::Ending::join);
}

void Application::on_shutdown(comm::message::Message& /*message*/) { running_ = false; }

} // namespace qv::can_bus::application
