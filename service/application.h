#pragma once

#include <atomic>

#include "comm/message.h"
#include "comm/observer.h"
#include "framework/application/run_wrapper.h"

namespace qv::can_bus::flr {

/// The innermost run wrapper: keeps the main thread parked until the application is to stop.
///
/// Thread: the main thread; the message that ends `run` arrives on the thread of the primary dispatcher.
class Application final : public qv::application::run_wrapper::Run_wrapper {
public:
    /// Returns -1 once `shutdown::Application` came.
    int run() override;
    /// False when there is no primary dispatcher to listen on.
    bool init() override;
    bool deinit() override;

private:
    void on_shutdown(comm::message::Message& message);

    std::atomic<bool> running_{true};
    comm::observer::Observer_list observers_;
};

} // namespace qv::can_bus::flr
