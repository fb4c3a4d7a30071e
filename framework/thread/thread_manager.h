#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "framework/log/hook.h"
#include "framework/thread/item.h"
#include "framework/thread/mutex.h"

namespace qv::thread {

/// Three lists of things that are driven with elapsed time. An item outlives its membership.
///
/// Thread: any; `run` for one list is called by one thread at a time.
class Thread_manager {
public:
    static constexpr std::size_t list_count = 3;

    Thread_manager();

    /// False for a `list` above 2 or a null `item`.
    bool add(std::size_t list, Item* item);
    /// False when the item is not in the list; the others keep their order.
    bool remove(std::size_t list, const Item* item);
    /// Calls `on_time_elapsed` on each item, without the lock: an item may add and remove items, itself included.
    void run(std::size_t list, std::uint32_t elapsed);
    void clear();

    log::Client log_client() const noexcept { return log_client_; }

private:
    Item* item_at(std::size_t list, std::size_t index) const;

    mutable Mutex mutex_;
    std::array<std::vector<Item*>, list_count> lists_; ///< guarded by `mutex_`
    log::Client log_client_;
};

} // namespace qv::thread
