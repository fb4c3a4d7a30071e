#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "comm/observer.h"
#include "comm/shutdown_message.h"
#include "framework/log/hook.h"

namespace qv::comm::handler {

/// Turns a `shutdown::Trigger` into the one `shutdown::Application`, after a grace period of 500 ms, which the
/// holders of tokens can extend up to the time-outs of their tokens.
///
/// Thread: the primary thread.
class Shutdown final : public observer::Observer_dispatcher_id {
public:
    using Observer_dispatcher_id::Observer_dispatcher_id;

    void subscribe() override;
    void unsubscribe() override;

private:
    static constexpr std::uint32_t grace_ms = 500;

    template <class Visit> static void for_each_subscription(Visit visit);
    void on_shutdown_token(message::Message& message);
    void on_shutdown_trigger(message::Message& message);
    void on_time_elapsed_20(message::Message& message);
    void drop_released_tokens();
    bool grace_is_over() const;
    void post_application();

    std::vector<std::shared_ptr<message::shutdown::Token_record>> tokens_; ///< not yet released by their owners
    bool triggered_ = false;
    bool first_tick_ = true;
    std::uint32_t elapsed_ = 0;         ///< ms since the trigger, in steps of 20, one for each Milliseconds_020
    std::uint32_t deadline_ = grace_ms; ///< ms after the trigger at which the stop happens in any case
    log::Client log_module_ = 0;
};

} // namespace qv::comm::handler
