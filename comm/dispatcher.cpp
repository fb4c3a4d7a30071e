#include "comm/dispatcher.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>

#include "comm/master.h"

namespace qv::comm::dispatcher {

namespace {

using Lock = std::lock_guard<thread::Mutex>;

/// List nodes kept for later messages; a flood must not hold its memory for ever.
constexpr std::size_t spare_nodes_maximum = 256;

std::atomic<std::uint32_t> total_instances{0};
std::atomic<std::uint32_t> live_instances{0};

/// Whether the weak reference belongs to `observer`, told without locking it: the last reference must not
/// end up here, where an observer's destructor would meet the held mutex.
bool refers_to(const std::weak_ptr<observer::Observer>& reference,
               const std::shared_ptr<observer::Observer>& observer)
{
    return observer && !reference.owner_before(observer) && !observer.owner_before(reference);
}

} // namespace

void Subscribers::add(message::Id id, const std::shared_ptr<observer::Observer>& observer,
                      observer::Handler handler)
{
    if (!observer || handler == nullptr) {
        return;
    }
    const Lock lock(mutex_);
    entries_.emplace(id, Entry{observer, handler});
}

void Subscribers::remove(message::Id id, const std::shared_ptr<observer::Observer>& observer)
{
    const Lock lock(mutex_);
    auto [entry, last] = entries_.equal_range(id);
    while (entry != last) {
        const bool found = refers_to(entry->second.observer, observer);
        entry = found || entry->second.observer.expired() ? entries_.erase(entry) : std::next(entry);
        if (found) {
            return;
        }
    }
}

std::vector<Subscribers::Entry> Subscribers::entries(message::Id id) const
{
    std::vector<Entry> copies;
    const Lock lock(mutex_);
    const auto [first, last] = entries_.equal_range(id);
    if (first != last) {
        copies.reserve(static_cast<std::size_t>(std::distance(first, last)));
        std::transform(first, last, std::back_inserter(copies), [](const auto& entry) { return entry.second; });
    }
    return copies;
}

std::size_t Subscribers::count(message::Id id) const
{
    const Lock lock(mutex_);
    return entries_.count(id);
}

Dispatcher::Dispatcher()
{
    ++total_instances;
    ++live_instances;
}

Dispatcher::~Dispatcher() { --live_instances; }

void Dispatcher::post(std::unique_ptr<message::Message>& message)
{
    if (!message) {
        return;
    }
    {
        const Lock lock(queue_mutex_);
        if (spare_.empty()) {
            queue_.push_back(std::move(message));
        } else {
            spare_.front() = std::move(message);
            queue_.splice(queue_.end(), spare_, spare_.begin());
        }
    }
    if (signal_) {
        signal_->raise();
    }
}

void Dispatcher::add_route(message::Id id, Dispatcher_id target)
{
    const Lock lock(routes_mutex_);
    const auto [first, last] = routes_.equal_range(id);
    const auto route = std::find_if(first, last, [=](const auto& entry) { return entry.second.target == target; });
    if (route != last) {
        ++route->second.use_count;
    } else {
        routes_.emplace(id, Route{target, 1});
    }
}

void Dispatcher::remove_route(message::Id id, Dispatcher_id target)
{
    const Lock lock(routes_mutex_);
    const auto [first, last] = routes_.equal_range(id);
    const auto route = std::find_if(first, last, [=](const auto& entry) { return entry.second.target == target; });
    if (route != last && --route->second.use_count == 0) {
        routes_.erase(route);
    }
}

void Dispatcher::notify(message::Message& message)
{
    const auto id = message.get_assigned_id();
    bool expired = false;
    for (const auto& entry : subscribers.entries(id)) {
        if (const auto observer = entry.observer.lock()) {
            ((*observer).*entry.handler)(message);
        } else {
            expired = true;
        }
    }
    if (expired) {
        subscribers.remove(id, nullptr);
    }
}

void Dispatcher::forward(message::Message& message)
{
    for (const auto target : routes_of(message.get_assigned_id())) {
        post_to(target, message.clone());
    }
}

void Dispatcher::forward(std::unique_ptr<message::Message>& message)
{
    if (!message) {
        return;
    }
    auto targets = routes_of(message->get_assigned_id());
    if (targets.empty()) {
        return;
    }
    const auto last = targets.back();
    targets.pop_back();
    for (const auto target : targets) {
        post_to(target, message->clone());
    }
    post_to(last, std::move(message));
}

void Dispatcher::process_queue()
{
    while (auto message = take_first()) {
        notify(*message);
        forward(message);
    }
}

bool Dispatcher::has_queued() const
{
    const Lock lock(queue_mutex_);
    return !queue_.empty();
}

void Dispatcher::wait_for_message(std::uint32_t timeout_ms)
{
    if (signal_) {
        const auto test = [this] { return has_queued(); };
        signal_->wait_unless(Predicate_of(test), timeout_ms);
    }
}

std::unique_ptr<message::Message> Dispatcher::take(message::Id id)
{
    const Lock lock(queue_mutex_);
    const auto found = std::find_if(queue_.begin(), queue_.end(),
                                    [=](const auto& message) { return message->get_assigned_id() == id; });
    return found == queue_.end() ? nullptr : detach(found);
}

std::unique_ptr<message::Message> Dispatcher::take_first()
{
    const Lock lock(queue_mutex_);
    return queue_.empty() ? nullptr : detach(queue_.begin());
}

/// Takes the message and keeps its node for a later one. The queue mutex is held.
std::unique_ptr<message::Message> Dispatcher::detach(Queue::iterator node)
{
    auto message = std::move(*node);
    if (spare_.size() < spare_nodes_maximum) {
        spare_.splice(spare_.begin(), queue_, node);
    } else {
        queue_.erase(node);
    }
    return message;
}

std::vector<Dispatcher_id> Dispatcher::routes_of(message::Id id) const
{
    std::vector<Dispatcher_id> targets;
    const Lock lock(routes_mutex_);
    const auto [first, last] = routes_.equal_range(id);
    if (first != last) {
        targets.reserve(static_cast<std::size_t>(std::distance(first, last)));
        std::transform(first, last, std::back_inserter(targets),
                       [](const auto& entry) { return entry.second.target; });
    }
    return targets;
}

std::uint32_t Dispatcher::instance_count_total() noexcept { return total_instances; }

std::uint32_t Dispatcher::instance_count_current() noexcept { return live_instances; }

} // namespace qv::comm::dispatcher
