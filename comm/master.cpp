#include "comm/master.h"

#include <atomic>
#include <map>
#include <mutex>
#include <new>
#include <utility>

#include "comm/handler/atom.h"
#include "comm/handler/shutdown.h"
#include "comm/handler/thread_handle.h"
#include "comm/handler/time_tick.h"
#include "comm/primary_thread.h"
#include "comm/shutdown_message.h"
#include "comm/thread_message.h"

namespace qv::comm::dispatcher {

/// Gives a dispatcher its identity.
struct Registrar {
    static void identify(Dispatcher& dispatcher, std::string_view name,
                         std::shared_ptr<thread::signal::Signal> signal)
    {
        dispatcher.id_ = reinterpret_cast<Dispatcher_id>(&dispatcher);
        dispatcher.name_ = name;
        dispatcher.signal_ = std::move(signal);
    }
};

} // namespace qv::comm::dispatcher

namespace qv::comm::master {

/// The one registry of dispatchers.
///
/// Thread: any, but the public members belong to the thread that starts and stops the core. A lookup holds a
/// reference to the core, so that one that meets the stop still works on live objects.
class Master {
public:
    static std::shared_ptr<Master> get();
    static void set(std::shared_ptr<Master> master);

    bool create_primary(bool with_signal);
    std::shared_ptr<Dispatcher> create(std::string_view name, bool with_signal);
    std::shared_ptr<Dispatcher> create(std::string_view name, std::shared_ptr<thread::signal::Signal> signal);
    std::shared_ptr<Dispatcher> find(Dispatcher_id id) const;
    std::shared_ptr<Dispatcher> find_by_name(std::string_view name) const;
    void remove(Dispatcher_id id);
    /// Tells every thread to stop, including those that have yet to subscribe to the message.
    void announce_stop();

    const std::shared_ptr<Dispatcher>& primary() const noexcept { return primary_; }
    void mark_stopping() noexcept { stopping_ = true; }
    bool stopping() const noexcept { return stopping_; }

    std::shared_ptr<thread::Handle> primary_thread;
    observer::Observer_list handlers;

private:
    using Lock = std::lock_guard<thread::Mutex>;

    const std::shared_ptr<Dispatcher>* named(std::string_view name) const;

    static inline std::mutex instance_mutex;        // constant-initialised: early and late callers are safe
    static inline std::shared_ptr<Master> instance; ///< guarded by `instance_mutex`

    std::atomic<bool> stopping_{false};
    std::shared_ptr<Dispatcher> primary_; ///< set before the core can be reached, then constant
    mutable thread::Mutex mutex_;
    std::map<Dispatcher_id, std::shared_ptr<Dispatcher>> dispatchers_; ///< guarded by `mutex_`
};

std::shared_ptr<Master> Master::get()
{
    const std::lock_guard lock(instance_mutex);
    return instance;
}

void Master::set(std::shared_ptr<Master> master)
{
    const std::lock_guard lock(instance_mutex);
    instance.swap(master); // the former one goes after the lock
}

bool Master::create_primary(bool with_signal)
{
    primary_ = create(dispatcher::primary::name, with_signal);
    return primary_ != nullptr;
}

std::shared_ptr<Dispatcher> Master::create(std::string_view name, bool with_signal)
{
    auto signal = with_signal ? thread::signal::Signal::create() : nullptr;
    return with_signal && !signal ? nullptr : create(name, std::move(signal));
}

std::shared_ptr<Dispatcher> Master::create(std::string_view name, std::shared_ptr<thread::signal::Signal> signal)
{
    const Lock lock(mutex_);
    if (named(name) != nullptr) {
        return nullptr;
    }
    auto created = std::make_shared<Dispatcher>();
    dispatcher::Registrar::identify(*created, name, std::move(signal));
    dispatchers_.emplace(created->id(), created);
    return created;
}

std::shared_ptr<Dispatcher> Master::find(Dispatcher_id id) const
{
    const Lock lock(mutex_);
    const auto found = dispatchers_.find(id);
    return found == dispatchers_.end() ? nullptr : found->second;
}

std::shared_ptr<Dispatcher> Master::find_by_name(std::string_view name) const
{
    const Lock lock(mutex_);
    const auto* found = named(name);
    return found == nullptr ? nullptr : *found;
}

/// The entry of that name, or null. The mutex is held.
const std::shared_ptr<Dispatcher>* Master::named(std::string_view name) const
{
    for (const auto& [id, dispatcher] : dispatchers_) {
        if (dispatcher->name() == name) {
            return &dispatcher;
        }
    }
    return nullptr;
}

void Master::remove(Dispatcher_id id)
{
    std::shared_ptr<Dispatcher> last; // a dispatcher that ends here ends after the lock
    const Lock lock(mutex_);
    if (auto entry = dispatchers_.extract(id)) {
        last = std::move(entry.mapped());
    }
}

void Master::announce_stop()
{
    mark_stopping();
    message::shutdown::Application stop;
    primary_->forward(stop);
    primary_->post(stop.clone()); // ends the primary thread, when that still runs
}

} // namespace qv::comm::master

namespace qv::comm {

using master::Master;

namespace {

/// Tells the keeper of running threads that one begins or ends.
void post_thread_handle(const std::shared_ptr<thread::Handle>& handle, bool finished)
{
    post_to(primary_dispatcher_id(), std::make_unique<message::thread_handle::Thread_handle>(handle, finished));
}

void create_handlers(Master& master, std::string_view name, std::uint32_t flags)
{
    const auto primary = master.primary()->id();
    if ((flags & flag::atom) != 0) {
        master.handlers.add(std::make_shared<handler::Atom>(primary, name));
    }
    if ((flags & flag::shutdown) != 0) {
        master.handlers.add(std::make_shared<handler::Shutdown>(primary));
    }
    if ((flags & flag::thread_handle) != 0) {
        master.handlers.add(std::make_shared<handler::Thread_handle>(primary));
    }
    if ((flags & flag::time_tick) != 0) {
        master.handlers.add(std::make_shared<handler::Time_tick>(primary));
    }
}

} // namespace

bool core_start(std::uint32_t flags, Make_observer make_config_writer)
try {
    if (Master::get()) {
        return true;
    }
    auto master = std::make_shared<Master>();
    if (!master->create_primary((flags & flag::signal) != 0)) {
        return false;
    }
    Master::set(master);
    thread::set_lifecycle_hook(&post_thread_handle);
    if ((flags & flag::config_writer) != 0) {
        master->handlers.add(make_config_writer(master->primary()->id()));
    }
    return true;
} catch (const std::bad_alloc&) {
    master_stop();
    return false;
}

bool handlers_start(std::string_view name, std::uint32_t flags)
try {
    const auto master = Master::get();
    if (!master) {
        return false;
    }
    create_handlers(*master, name, flags);
    return true;
} catch (const std::bad_alloc&) {
    master_stop();
    return false;
}

bool start_primary_thread()
{
    const auto master = Master::get();
    if (!master || master->primary_thread) {
        return false;
    }
    auto handle = std::make_shared<thread::Handle>("comm primary");
    if (!thread::argument_less::start(handle, &Primary_thread::thread_static, thread::Ending::join)) {
        return false;
    }
    master->primary_thread = std::move(handle);
    return true;
}

/// The primary thread goes first: no handler may be released while it still delivers to it.
void master_stop()
{
    const auto master = Master::get();
    if (!master) {
        return;
    }
    master->announce_stop();
    if (master->primary_thread) {
        master->primary_thread->join();
    }
    master->handlers.clear();
    master->remove(master->primary()->id());
    thread::set_lifecycle_hook(nullptr);
    Master::set(nullptr);
}

bool core_is_stopping()
{
    const auto master = Master::get();
    return master && master->stopping();
}

void mark_core_stopping()
{
    if (const auto master = Master::get()) {
        master->mark_stopping();
    }
}

std::shared_ptr<Dispatcher> create_dispatcher(std::string_view name, bool with_signal)
{
    const auto master = Master::get();
    return master ? master->create(name, with_signal) : nullptr;
}

std::shared_ptr<Dispatcher> create_dispatcher(std::string_view name,
                                              std::shared_ptr<thread::signal::Signal> signal)
{
    const auto master = Master::get();
    return master ? master->create(name, std::move(signal)) : nullptr;
}

std::shared_ptr<Dispatcher> find_dispatcher(Dispatcher_id id)
{
    const auto master = Master::get();
    return master ? master->find(id) : nullptr;
}

std::shared_ptr<Dispatcher> find_dispatcher_by_name(std::string_view name)
{
    const auto master = Master::get();
    return master ? master->find_by_name(name) : nullptr;
}

std::shared_ptr<Dispatcher> primary_dispatcher()
{
    const auto master = Master::get();
    return master ? master->primary() : nullptr;
}

Dispatcher_id primary_dispatcher_id()
{
    const auto master = Master::get();
    return master ? master->primary()->id() : 0;
}

void remove_dispatcher(const std::shared_ptr<Dispatcher>& dispatcher)
{
    const auto master = Master::get();
    if (master && dispatcher) {
        master->remove(dispatcher->id());
    }
}

void post_to(Dispatcher_id id, std::unique_ptr<message::Message> message)
{
    if (const auto dispatcher = find_dispatcher(id)) {
        dispatcher->post(message);
    }
}

void send_shutdown_trigger() { post_to(primary_dispatcher_id(), std::make_unique<message::shutdown::Trigger>()); }

} // namespace qv::comm
