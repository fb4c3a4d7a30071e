#pragma once

#include <map>
#include <memory>

#include "comm/observer.h"
#include "framework/thread/handle.h"

namespace qv::comm::handler {

/// Keeps the handles of all running threads, so that none outlives the core.
///
/// Thread: the primary thread; the destructor runs on the one that stops the core.
class Thread_handle final : public observer::Observer_dispatcher_id {
public:
    using Observer_dispatcher_id::Observer_dispatcher_id;
    /// Ends every thread that has not ended by itself, each in its own way, and waits until it is gone. Reports
    /// that are still queued count, and so do those that come in while it waits.
    ~Thread_handle() override;

    void subscribe() override;
    void unsubscribe() override;

private:
    void on_thread_handle(message::Message& message);
    void take_queued();

    std::map<thread::Handle*, std::shared_ptr<thread::Handle>> threads_;
};

} // namespace qv::comm::handler
