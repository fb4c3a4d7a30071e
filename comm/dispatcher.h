#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "comm/message.h"
#include "comm/observer.h"
#include "framework/thread/mutex.h"
#include "framework/thread/signal.h"

namespace qv::comm::dispatcher {

namespace primary {
inline constexpr const char* name = "primary dispatcher";
} // namespace primary

/// Who listens to what within one dispatcher. Thread: any.
class Subscribers {
public:
    struct Entry {
        std::weak_ptr<observer::Observer> observer;
        observer::Handler handler;
    };

    /// Enters the pair behind all entries of the same id. An empty observer or handler is ignored.
    void add(message::Id id, const std::shared_ptr<observer::Observer>& observer, observer::Handler handler);
    /// Erases the first entry of `observer`, and the expired entries met on the way to it. With an empty
    /// observer only the expired ones go.
    void remove(message::Id id, const std::shared_ptr<observer::Observer>& observer);
    /// The entries of this id, in order.
    std::vector<Entry> entries(message::Id id) const;
    std::size_t count(message::Id id) const;

private:
    mutable thread::Mutex mutex_;
    std::multimap<message::Id, Entry> entries_; ///< guarded by `mutex_`
};

/// Queue and subscription table of one thread, or of one layer on it. See README.md of this folder.
///
/// `post`, the routes and the subscriptions are for any thread; `process_queue`, `notify` and `forward` are
/// for the thread that owns the dispatcher.
class Dispatcher {
public:
    Dispatcher();
    virtual ~Dispatcher();
    Dispatcher(const Dispatcher&) = delete;
    Dispatcher& operator=(const Dispatcher&) = delete;

    /// Appends the message, taking it, and then raises the signal. An empty pointer is ignored.
    virtual void post(std::unique_ptr<message::Message>& message);
    void post(std::unique_ptr<message::Message>&& message) { post(message); }

    Subscribers subscribers;

    /// Sends messages of `id` on to `target`; a second call for the pair counts up its use.
    void add_route(message::Id id, Dispatcher_id target);
    void remove_route(message::Id id, Dispatcher_id target);

    /// Delivers to this dispatcher's subscribers, on this thread, before the call returns.
    void notify(message::Message& message);
    /// Posts a clone to every route of the message's id.
    void forward(message::Message& message);
    /// The same, but the last route gets the original.
    void forward(std::unique_ptr<message::Message>& message);
    /// Notifies and forwards until the queue is empty, what handlers post meanwhile included.
    void process_queue();
    /// Whether a message waits; what a thread tests before it goes to sleep.
    bool has_queued() const;
    /// Sleeps on the signal until a message waits, but no longer than `timeout_ms`, where 0 is no limit. Returns
    /// at once when a message waits already, and when the dispatcher has no signal.
    void wait_for_message(std::uint32_t timeout_ms = 0);
    /// Takes the first queued message of this id out of the queue; empty when there is none. For an owner
    /// that has stopped draining and still needs the messages of one kind.
    std::unique_ptr<message::Message> take(message::Id id);

    Dispatcher_id id() const noexcept { return id_; }
    const std::string& name() const noexcept { return name_; }
    const std::shared_ptr<thread::signal::Signal>& signal() const noexcept { return signal_; }

    static std::uint32_t instance_count_total() noexcept;
    static std::uint32_t instance_count_current() noexcept;

private:
    friend struct Registrar; ///< the master, which gives id, name and signal

    using Queue = std::list<std::unique_ptr<message::Message>>;

    struct Route {
        Dispatcher_id target;
        std::uint32_t use_count;
    };

    std::unique_ptr<message::Message> take_first();
    std::unique_ptr<message::Message> detach(Queue::iterator node);
    std::vector<Dispatcher_id> routes_of(message::Id id) const;

    Dispatcher_id id_ = 0;
    mutable thread::Mutex queue_mutex_;
    Queue queue_; ///< guarded by `queue_mutex_`
    Queue spare_; ///< used-up list nodes; guarded by `queue_mutex_`
    mutable thread::Mutex routes_mutex_;
    std::multimap<message::Id, Route> routes_; ///< guarded by `routes_mutex_`
    std::string name_;
    std::shared_ptr<thread::signal::Signal> signal_; ///< set before the dispatcher can be found, then constant
};

} // namespace qv::comm::dispatcher
