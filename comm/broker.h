#pragma once

#include "comm/observer.h"

namespace qv::comm::observer {

/// Whether a broker also keeps a route from the primary dispatcher to its own.
enum class Route : bool { none, from_primary };

/// Lets a class that is no observer receive one type of message: calls `handler` on `owner`, which outlives
/// the broker.
///
/// Thread: the one that drains the dispatcher `id`.
template <class Owner, class Message_type> class Broker final : public Observer_dispatcher_id {
public:
    using Owner_handler = void (Owner::*)(message::Message&);

    Broker(Owner* owner, Owner_handler handler, dispatcher::Dispatcher_id id, Route route = Route::none) noexcept
        : Observer_dispatcher_id(id)
        , handler_(handler)
        , owner_(owner)
        , route_(route)
    {}

    void subscribe() override
    {
        if (route_ == Route::from_primary) {
            add_routed(Message_type::id, &Broker::on_notify);
        } else {
            add(Message_type::id, &Broker::on_notify);
        }
    }

    void unsubscribe() override
    {
        if (route_ == Route::from_primary) {
            remove_routed(Message_type::id);
        } else {
            remove(Message_type::id);
        }
    }

private:
    void on_notify(message::Message& message)
    {
        if (handler_ != nullptr) {
            (owner_->*handler_)(dynamic_cast<Message_type&>(message));
        }
    }

    Owner_handler handler_;
    Owner* owner_;
    Route route_;
};

/// Makes a broker: `make_broker<Time_elapsed>(this, &Bus_thread::on_time_elapsed, id, Route::from_primary)`.
template <class Message_type, class Owner>
std::shared_ptr<Observer> make_broker(Owner* owner, void (Owner::*handler)(message::Message&),
                                      dispatcher::Dispatcher_id id, Route route = Route::none)
{
    return std::make_shared<Broker<Owner, Message_type>>(owner, handler, id, route);
}

} // namespace qv::comm::observer
