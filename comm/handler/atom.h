#pragma once

#include <string_view>

#include "comm/observer.h"
#include "framework/atom.h"

namespace qv::comm::handler {

/// Lets another process stop this one: holds the token `name` in the shared memory namespace and sends one
/// `shutdown::Trigger` when somebody has removed it.
///
/// Thread: the one that drains the given dispatcher.
class Atom final : public observer::Observer_dispatcher_id {
public:
    /// Makes the token, or takes the one that is there.
    Atom(dispatcher::Dispatcher_id id, std::string_view name);

    void subscribe() override;
    void unsubscribe() override;

private:
    void on_time_elapsed(message::Message& message);

    qv::Atom atom_;
    bool watching_; ///< the token was there when last looked for
};

} // namespace qv::comm::handler
