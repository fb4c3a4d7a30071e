#include "service/application.h"

#include <chrono>

#include "comm/broker.h"
#include "comm/master.h"
#include "comm/shutdown_message.h"
#include "framework/thread/pause.h"

namespace qv::can_bus::flr {

using namespace std::chrono_literals;

int Application::run()
{
    while (running_) {
        thread::pause(20ms);
    }
    return -1;
}

bool Application::init()
{
    if (comm::primary_dispatcher() == nullptr) {
        return false;
    }
    observers_.add(comm::observer::make_broker<comm::message::shutdown::Application>(
        this, &Application::on_shutdown, comm::primary_dispatcher_id()));
    if (comm::core_is_stopping()) {
        running_ = false; // a stop during the start: its message went by before anybody listened here
    }
    return true;
}

bool Application::deinit()
{
    observers_.clear();
    return true;
}

void Application::on_shutdown(comm::message::Message& /*message*/) { running_ = false; }

} // namespace qv::can_bus::flr
