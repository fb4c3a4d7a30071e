#include "log/thread.h"

#include "comm/shutdown_message.h"
#include "comm/time_message.h"
#include "log/directory.h"
#include "log/log.h"

namespace qv::log::thread {

using comm::message::shutdown::Application;
using comm::message::time_elapsed::Milliseconds_500;
using directory::message::Cleanup;

Thread::Thread(Log& log) noexcept
    : Observer_dispatcher_id(log.dispatcher()->id())
    , log_(log)
{}

void Thread::thread_static(std::shared_ptr<Log> log) // NOLINT(performance-unnecessary-value-param)
{
    const auto thread = std::make_shared<Thread>(*log);
    comm::observer::Observer_list observers;
    observers.add(thread);
    thread->run();
}

void Thread::subscribe()
{
    add(Cleanup::id, &Thread::on_log_directory_cleanup);
    add_routed(Application::id, &Thread::on_shutdown);
    add_routed(Milliseconds_500::id, &Thread::on_time_elapsed_500_ms);
}

void Thread::unsubscribe()
{
    remove(Cleanup::id);
    remove_routed(Application::id);
    remove_routed(Milliseconds_500::id);
}

/// Looks at what is queued before it sleeps: nobody ticks after the stop, and its message is never missed.
void Thread::run()
{
    while (running_) {
        log_.dispatcher()->wait_for_message();
        log_.dispatcher()->process_queue();
    }
    log_.flush();
}

void Thread::on_log_directory_cleanup(comm::message::Message& message)
{
    const auto& wanted = dynamic_cast<Cleanup&>(message);
    directory::cleanup({wanted.minimum_time, wanted.size_threshold, wanted.file_count_threshold}, log_.directory(),
                       '/');
}

void Thread::on_shutdown(comm::message::Message& /*message*/) { running_ = false; }

void Thread::on_time_elapsed_500_ms(comm::message::Message& /*message*/) { log_.flush(); }

} // namespace qv::log::thread
