#pragma once

#include <memory>

#include "comm/dispatcher.h"
#include "comm/observer.h"

namespace qv::can_bus::tp {

/// Lets `observer` hear `Time_elapsed` on another dispatcher than its own, and keeps the route that brings it
/// there from the primary one.
void subscribe_ticks(const std::shared_ptr<comm::observer::Observer>& observer, comm::observer::Handler handler,
                     comm::dispatcher::Dispatcher_id dispatcher_id);
/// Takes both back.
void unsubscribe_ticks(const std::shared_ptr<comm::observer::Observer>& observer,
                       comm::dispatcher::Dispatcher_id dispatcher_id);

} // namespace qv::can_bus::tp
