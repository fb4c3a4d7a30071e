#include "comm/primary_thread.h"

#include <ctime>

#include "comm/master.h"
#include "comm/shutdown_message.h"
#include "comm/time_message.h"

namespace qv::comm {

namespace {

using message::shutdown::Application;

constexpr std::timespec pass_pause{0, 3'000'000};

/// One turn of the primary loop. The tick is delivered by the next one.
void pass()
{
    const auto dispatcher = primary_dispatcher();
    if (!dispatcher) {
        return;
    }
    dispatcher->process_queue();
    dispatcher->post(std::make_unique<message::Time_tick>());
    ::nanosleep(&pass_pause, nullptr);
}

} // namespace

void Primary_thread::thread_static()
{
    const auto thread = std::make_shared<Primary_thread>(primary_dispatcher_id());
    observer::Observer_list observers;
    observers.add(thread);
    thread->run();
}

void Primary_thread::subscribe() { add(Application::id, &Primary_thread::on_shutdown_application); }

void Primary_thread::unsubscribe() { remove(Application::id); }

void Primary_thread::run()
{
    while (running_) {
        pass();
    }
}

void Primary_thread::on_shutdown_application(message::Message& /*message*/) { running_ = false; }

} // namespace qv::comm
