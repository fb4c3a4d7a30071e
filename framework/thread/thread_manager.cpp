#include "framework/thread/thread_manager.h"

#include <algorithm>
#include <mutex>

namespace qv::thread {

namespace {

using Guard = std::lock_guard<Mutex>;

} // namespace

Thread_manager::Thread_manager()
    : log_client_(log::register_client("thread manager"))
{}

bool Thread_manager::add(std::size_t list, Item* item)
{
    if (list >= list_count || item == nullptr) {
        return false;
    }
    const Guard guard(mutex_);
    lists_[list].push_back(item);
    return true;
}

bool Thread_manager::remove(std::size_t list, const Item* item)
{
    if (list >= list_count) {
        return false;
    }
    const Guard guard(mutex_);
    auto& items = lists_[list];
    const auto found = std::find(items.begin(), items.end(), item);
    if (found == items.end()) {
        return false;
    }
    items.erase(found);
    return true;
}

void Thread_manager::run(std::size_t list, std::uint32_t elapsed)
{
    const Item* called = nullptr;
    std::size_t index = 0;
    while (Item* const item = item_at(list, index)) {
        if (item == called) { // still in its place; had it left, another would stand here
            ++index;
            continue;
        }
        called = item;
        item->on_time_elapsed(elapsed);
    }
}

void Thread_manager::clear()
{
    const Guard guard(mutex_);
    for (auto& items : lists_) {
        items.clear();
    }
}

/// Null behind the last one.
Item* Thread_manager::item_at(std::size_t list, std::size_t index) const
{
    const Guard guard(mutex_);
    return list < list_count && index < lists_[list].size() ? lists_[list][index] : nullptr;
}

} // namespace qv::thread
