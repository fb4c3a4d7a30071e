#pragma once

#include <memory>

#include "comm/observer.h"

namespace qv::log {

class Log;

namespace thread {

/// The thread that writes the log: twice a second, and once more at its end. No other thread touches the file
/// while it runs, unless the process ends without an orderly stop.
///
/// Thread: the log's. Lifetime: that of the thread, which shares the log.
class Thread final : public comm::observer::Observer_dispatcher_id {
public:
    explicit Thread(Log& log) noexcept;

    /// The whole life of the thread. It ends on `shutdown::Application`.
    static void thread_static(std::shared_ptr<Log> log);

    void subscribe() override;
    void unsubscribe() override;

private:
    void run();
    void on_log_directory_cleanup(comm::message::Message& message);
    void on_shutdown(comm::message::Message& message);
    void on_time_elapsed_500_ms(comm::message::Message& message);

    bool running_ = true; ///< changed on this very thread, within a drain
    Log& log_;            ///< outlives this
};

} // namespace thread

} // namespace qv::log
