#pragma once

#include <cstdint>

#include "comm/observer.h"
#include "framework/thread/clock.h"

namespace qv::comm::handler {

/// The source of all time messages: looks at the clock whenever a `Time_tick` comes and posts what has passed
/// to its dispatcher, `Time_elapsed` first.
///
/// Thread: the primary thread.
class Time_tick final : public observer::Observer_dispatcher_id {
public:
    using Clock = time::Milliseconds (*)() noexcept;

    explicit Time_tick(dispatcher::Dispatcher_id id, Clock clock = &time::now_ms) noexcept;

    void subscribe() override;
    void unsubscribe() override;

private:
    void on_time_tick(message::Message& message);

    Clock clock_;
    std::uint32_t accumulated_20_ = 0;   ///< ms since the last `Milliseconds_020`
    std::uint32_t accumulated_500_ = 0;  ///< ms since the last `Milliseconds_500`
    std::uint32_t accumulated_1000_ = 0; ///< ms since the last `Seconds_1`
    time::Milliseconds last_time_;       ///< the clock when time was last counted
};

} // namespace qv::comm::handler
