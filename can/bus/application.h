#pragma once

#include <atomic>
#include <memory>

#include "comm/observer.h"
#include "framework/application/run_wrapper.h"
#include "framework/thread/handle.h"

namespace qv::can_bus::application {

/// The layer that starts the primary thread and the bus thread around the application proper.
///
/// Both threads end on `shutdown::Application`, and the core waits for them when it stops.
/// Thread: the main thread; the handler runs on the primary thread.
class Application final : public qv::application::run_wrapper::Cascade {
public:
    using Cascade::Cascade;
    ~Application() override;

    /// What the inner layer gives, once the stop has been announced; -1 without one.
    int run() override;
    [[nodiscard]] bool init_own() override;
    bool deinit_own() override;

private:
    bool start();
    void on_shutdown(comm::message::Message& message);

    std::atomic<bool> running_{true};
    std::shared_ptr<thread::Handle> bus_thread_;
    comm::observer::Observer_list observers_;
};

} // namespace qv::can_bus::application
