#include "comm/handler/shutdown.h"

#include <algorithm>

#include "comm/master.h"
#include "comm/time_message.h"

namespace qv::comm::handler {

namespace {

using message::shutdown::Application;
using message::shutdown::Token;
using message::shutdown::Trigger;
using message::time_elapsed::Milliseconds_020;

constexpr log::Level level_warning = 2;
constexpr log::Level level_progress = 16;
constexpr std::uint32_t tick_ms = 20;

} // namespace

template <class Visit> void Shutdown::for_each_subscription(Visit visit)
{
    visit(Token::id, &Shutdown::on_shutdown_token);
    visit(Trigger::id, &Shutdown::on_shutdown_trigger);
    visit(Milliseconds_020::id, &Shutdown::on_time_elapsed_20);
}

void Shutdown::subscribe()
{
    for_each_subscription([this](message::Id id, auto handler) { add(id, handler); });
}

void Shutdown::unsubscribe()
{
    for_each_subscription([this](message::Id id, auto) { remove(id); });
}

void Shutdown::on_shutdown_token(message::Message& message)
{
    const auto& record = dynamic_cast<Token&>(message).record;
    if (!record) {
        return;
    }
    log::write(level_progress, log_module_, "shutdown token %s timeout %zu", record->name.c_str(),
               record->timeout_ms);
    deadline_ = std::max(deadline_, record->timeout_ms);
    tokens_.push_back(record);
}

void Shutdown::on_shutdown_trigger(message::Message& /*message*/)
{
    if (triggered_) {
        return;
    }
    triggered_ = true;
    elapsed_ = 0;
    log::write(level_progress, log_module_, "shutdown triggered");
}

void Shutdown::on_time_elapsed_20(message::Message& /*message*/)
{
    if (first_tick_) {
        first_tick_ = false;
        log_module_ = log::register_client("comm shutdown handler");
    }
    if (!triggered_) {
        return;
    }
    drop_released_tokens();
    if (deadline_ > elapsed_) {
        elapsed_ += tick_ms;
    }
    if (grace_is_over()) {
        post_application();
    }
}

/// A token that only this handler still refers to was let go by its owner.
void Shutdown::drop_released_tokens()
{
    std::erase_if(tokens_, [this](const auto& token) {
        const bool released = token.use_count() == 1;
        if (released) {
            log::write(level_progress, log_module_, "shutdown token %s cleared", token->name.c_str());
        }
        return released;
    });
}

bool Shutdown::grace_is_over() const { return elapsed_ >= grace_ms && (tokens_.empty() || elapsed_ >= deadline_); }

void Shutdown::post_application()
{
    if (!tokens_.empty()) {
        log::write(level_warning, log_module_, "shutdown: token(s) timed out (%zu)", deadline_);
        for (const auto& token : tokens_) {
            log::write(level_warning, log_module_, "\t%s", token->name.c_str());
        }
    }
    log::write(level_progress, log_module_, "shutdown application");
    mark_core_stopping();
    post_to(dispatcher_id(), std::make_unique<Application>());
}

} // namespace qv::comm::handler
