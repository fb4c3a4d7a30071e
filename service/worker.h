#pragma once

#include <memory>

#include <pthread.h>

#include "service/wifi/transfer_record.h"

namespace qv::can_bus::flr {

/// The thread of one step of an installation over a wireless node, and the record that it shares with the session.
///
/// Thread: the bus thread.
class Worker {
public:
    /// `SendHandler` or `InstallHandler`.
    using Entry = void* (*)(void* record);

    explicit Worker(Package package);
    /// Cancels the work and waits for its end.
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// 0, or why the thread cannot start, an `errno` value.
    [[nodiscard]] int start(Entry entry);
    /// Whether the thread has ended; false without one.
    [[nodiscard]] bool has_ended();
    const Transfer_record& record() const noexcept { return record_; }

private:
    Transfer_record record_;
    pthread_t thread_{};
    bool started_ = false;
    bool joined_ = false;
};

} // namespace qv::can_bus::flr
