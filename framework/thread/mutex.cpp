#include "framework/thread/mutex.h"

#include <atomic>
#include <new>

#include <pthread.h>

#include "framework/log/hook.h"

namespace qv::thread {

struct Mutex::Record {
    std::atomic<Status> status{Status::ok}; ///< the first failure since the last report
    bool locked = false;                    ///< guarded by `mutex`
    pthread_mutex_t mutex{};
    pthread_t owner{}; ///< the last locker; guarded by `mutex`

    bool note(int result, Status failure) noexcept
    {
        Status none = Status::ok;
        if (result != 0) {
            status.compare_exchange_strong(none, failure);
        }
        return result == 0;
    }

    void report();
};

namespace {

const char* text_of(Mutex::Status status)
{
    switch (status) {
        case Mutex::Status::ok: break;
        case Mutex::Status::destruction_failed: return "destruction failed";
        case Mutex::Status::initialization_failed: return "initialization failed";
        case Mutex::Status::lock_failed: return "lock failed";
        case Mutex::Status::locked_by_own_thread: return "locked by own thread";
        case Mutex::Status::unlock_failed: return "unlock failed";
    }
    return "unknown";
}

} // namespace

/// Tells the first failure to the log and forgets it.
void Mutex::Record::report()
{
    const Status first = status.exchange(Status::ok);
    if (first != Status::ok) {
        log::write(2, 0, "%s", text_of(first));
    }
}

Mutex::Mutex() { create(); }

Mutex::~Mutex() { destroy(); }

bool Mutex::create()
{
    if (!destroy()) {
        return false;
    }
    record_.reset(new (std::nothrow) Record);
    return record_ != nullptr &&
           record_->note(::pthread_mutex_init(&record_->mutex, nullptr), Status::initialization_failed);
}

bool Mutex::lock()
{
    if (record_ == nullptr || !record_->note(::pthread_mutex_lock(&record_->mutex), Status::lock_failed)) {
        return false;
    }
    record_->locked = true;
    record_->owner = ::pthread_self();
    return true;
}

bool Mutex::unlock()
{
    if (record_ == nullptr) {
        return false;
    }
    record_->locked = false;
    const bool unlocked = record_->note(::pthread_mutex_unlock(&record_->mutex), Status::unlock_failed);
    if (!unlocked) {
        record_->report();
    }
    return unlocked;
}

bool Mutex::destroy()
{
    if (record_ == nullptr) {
        return true;
    }
    if (!record_->note(::pthread_mutex_destroy(&record_->mutex), Status::destruction_failed)) {
        record_->report();
        return false;
    }
    record_.reset();
    return true;
}

Mutex::Status Mutex::status() const noexcept { return record_ == nullptr ? Status::ok : record_->status.load(); }

} // namespace qv::thread
