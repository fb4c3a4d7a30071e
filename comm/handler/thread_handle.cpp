#include "comm/handler/thread_handle.h"

#include "comm/master.h"
#include "comm/thread_message.h"

namespace qv::comm::handler {

using Report = message::thread_handle::Thread_handle;

Thread_handle::~Thread_handle()
{
    take_queued();
    while (!threads_.empty()) {
        const auto first = threads_.extract(threads_.begin());
        first.mapped()->stop();
        first.mapped()->join(); // one that was cancelled or killed may still be on its way out
        take_queued();
    }
}

void Thread_handle::subscribe() { add(Report::id, &Thread_handle::on_thread_handle); }

void Thread_handle::unsubscribe() { remove(Report::id); }

void Thread_handle::on_thread_handle(message::Message& message)
{
    const auto& report = dynamic_cast<Report&>(message);
    if (!report.handle) {
        return;
    }
    if (report.finished) {
        threads_.erase(report.handle.get());
    } else {
        threads_.insert_or_assign(report.handle.get(), report.handle);
    }
}

/// Handles the reports that nobody drains any more.
void Thread_handle::take_queued()
{
    const auto dispatcher = find_dispatcher(dispatcher_id());
    while (const auto report = dispatcher ? dispatcher->take(Report::id) : nullptr) {
        on_thread_handle(*report);
    }
}

} // namespace qv::comm::handler
