#pragma once

#include <cstdint>
#include <memory>

namespace qv::thread {

/// A plain, non-recursive mutex that notes its first failure and reports it to the log.
///
/// `std::lock_guard<qv::thread::Mutex>` works with it. Thread: any.
class Mutex {
public:
    enum class Status : std::uint32_t {
        ok = 0,
        destruction_failed = 1,
        initialization_failed = 2,
        lock_failed = 3,
        locked_by_own_thread = 4, ///< named in the log; no path sets it
        unlock_failed = 5,
    };

    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    bool create();
    bool lock();
    bool unlock();
    bool destroy();

    Status status() const noexcept;

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

} // namespace qv::thread
