#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "comm/message.h"

namespace qv::comm::dispatcher {

/// The address of a live dispatcher; 0 is none.
using Dispatcher_id = std::uintptr_t;

} // namespace qv::comm::dispatcher

namespace qv::comm::observer {

/// Root of everything that subscribes. Held by a `std::shared_ptr`; a subscription is a weak reference, so
/// that a destroyed observer drops out by itself. Nothing subscribes in a constructor.
class Observer : public std::enable_shared_from_this<Observer> {
public:
    virtual ~Observer() = default;
    virtual void unsubscribe() = 0;
    virtual void subscribe() = 0;

protected:
    Observer() = default;
    Observer(const Observer&) = delete;
    Observer& operator=(const Observer&) = delete;
};

/// A member function that receives a message.
using Handler = void (Observer::*)(message::Message&);

/// An observer that works on one dispatcher.
///
/// A derived class names its handlers in `subscribe` with `add` and takes them back in `unsubscribe` with
/// `remove`. For a message of the primary dispatcher it uses `add_routed` and `remove_routed`, which besides
/// keep a route from there to the own dispatcher, unless that is the primary one.
class Observer_dispatcher_id : public Observer {
public:
    explicit Observer_dispatcher_id(dispatcher::Dispatcher_id id) noexcept
        : dispatcher_id_(id)
    {}
    dispatcher::Dispatcher_id dispatcher_id() const noexcept { return dispatcher_id_; }

protected:
    template <class Derived> void add(message::Id id, void (Derived::*handler)(message::Message&))
    {
        add_handler(id, static_cast<Handler>(handler));
    }
    template <class Derived> void add_routed(message::Id id, void (Derived::*handler)(message::Message&))
    {
        add(id, handler);
        add_primary_route(id);
    }
    void remove(message::Id id);
    void remove_routed(message::Id id);

private:
    void add_handler(message::Id id, Handler handler);
    void add_primary_route(message::Id id);

    dispatcher::Dispatcher_id dispatcher_id_;
};

/// Observers held by their owner, in the order in which they came.
class Observer_list {
public:
    Observer_list() = default;
    ~Observer_list() { clear(); }
    Observer_list(const Observer_list&) = delete;
    Observer_list& operator=(const Observer_list&) = delete;

    /// Keeps the observer and subscribes it. An empty pointer is ignored.
    void add(std::shared_ptr<Observer> observer);
    /// Unsubscribes every element, then drops them all, in order.
    void clear();
    bool empty() const noexcept { return observers_.empty(); }

private:
    std::vector<std::shared_ptr<Observer>> observers_;
};

} // namespace qv::comm::observer
