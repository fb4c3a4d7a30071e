#include "comm/observer.h"

#include "comm/master.h"
#include "comm/shutdown_message.h"

namespace qv::comm::observer {

void Observer_dispatcher_id::add_handler(message::Id id, Handler handler)
{
    if (const auto dispatcher = find_dispatcher(dispatcher_id_)) {
        dispatcher->subscribers.add(id, weak_from_this().lock(), handler);
    }
}

/// A thread that subscribes to the stop after it was announced is told at once: nobody would tell it later.
void Observer_dispatcher_id::add_primary_route(message::Id id)
{
    const auto primary = primary_dispatcher();
    if (!primary || primary->id() == dispatcher_id_) {
        return;
    }
    primary->add_route(id, dispatcher_id_);
    if (id == message::shutdown::Application::id && core_is_stopping()) {
        post_to(dispatcher_id_, std::make_unique<message::shutdown::Application>());
    }
}

void Observer_dispatcher_id::remove(message::Id id)
{
    if (const auto dispatcher = find_dispatcher(dispatcher_id_)) {
        dispatcher->subscribers.remove(id, weak_from_this().lock());
    }
}

void Observer_dispatcher_id::remove_routed(message::Id id)
{
    const auto primary = primary_dispatcher();
    if (primary && primary->id() != dispatcher_id_) {
        primary->remove_route(id, dispatcher_id_);
    }
    remove(id);
}

void Observer_list::add(std::shared_ptr<Observer> observer)
{
    if (!observer) {
        return;
    }
    observers_.push_back(std::move(observer));
    observers_.back()->subscribe();
}

void Observer_list::clear()
{
    for (const auto& observer : observers_) {
        observer->unsubscribe();
    }
    for (auto& observer : observers_) {
        observer.reset();
    }
    observers_.clear();
}

} // namespace qv::comm::observer
