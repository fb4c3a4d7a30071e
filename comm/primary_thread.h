#pragma once

#include "comm/observer.h"

namespace qv::comm {

/// Drains the primary dispatcher and asks it every 3 ms to look at the clock, until `shutdown::Application`
/// comes. From then on nobody drains the primary dispatcher. `start_primary_thread` starts it.
class Primary_thread final : public observer::Observer_dispatcher_id {
public:
    using Observer_dispatcher_id::Observer_dispatcher_id;

    /// The whole life of the thread.
    static void thread_static();

    void subscribe() override;
    void unsubscribe() override;

private:
    void run();
    void on_shutdown_application(message::Message& message);

    bool running_ = true; ///< changed on this very thread, within a drain
};

} // namespace qv::comm
