#include "can/network/tp/ticks.h"

#include "comm/master.h"
#include "comm/time_message.h"

namespace qv::can_bus::tp {

using comm::message::time_elapsed::Time_elapsed;

void subscribe_ticks(const std::shared_ptr<comm::observer::Observer>& observer, comm::observer::Handler handler,
                     comm::dispatcher::Dispatcher_id dispatcher_id)
{
    if (const auto dispatcher = comm::find_dispatcher(dispatcher_id)) {
        dispatcher->subscribers.add(Time_elapsed::id, observer, handler);
    }
    const auto primary = comm::primary_dispatcher();
    if (primary && primary->id() != dispatcher_id) {
        primary->add_route(Time_elapsed::id, dispatcher_id);
    }
}

void unsubscribe_ticks(const std::shared_ptr<comm::observer::Observer>& observer,
                       comm::dispatcher::Dispatcher_id dispatcher_id)
{
    const auto primary = comm::primary_dispatcher();
    if (primary && primary->id() != dispatcher_id) {
        primary->remove_route(Time_elapsed::id, dispatcher_id);
    }
    if (const auto dispatcher = comm::find_dispatcher(dispatcher_id)) {
        dispatcher->subscribers.remove(Time_elapsed::id, observer);
    }
}

} // namespace qv::can_bus::tp
