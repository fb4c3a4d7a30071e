#include "framework/thread/signal.h"

#include <cerrno>
#include <ctime>
#include <mutex>
#include <new>

#include <pthread.h>

namespace qv::thread::signal {

/// The mutex and the condition, both plain POSIX objects so that a failure to make them can be told.
class Signal::Private_implementation {
public:
    Private_implementation()
        : mutex_made_(::pthread_mutex_init(&mutex_, nullptr) == 0)
        , condition_made_(make_condition())
    {}
    ~Private_implementation()
    {
        if (condition_made_) {
            ::pthread_cond_destroy(&condition_);
        }
        if (mutex_made_) {
            ::pthread_mutex_destroy(&mutex_);
        }
    }
    Private_implementation(const Private_implementation&) = delete;
    Private_implementation& operator=(const Private_implementation&) = delete;

    bool valid() const noexcept { return mutex_made_ && condition_made_; }
    void lock() { ::pthread_mutex_lock(&mutex_); }
    void unlock() { ::pthread_mutex_unlock(&mutex_); }
    void broadcast() { ::pthread_cond_broadcast(&condition_); }
    /// Waits for a broadcast, with the lock held before and after. `deadline` null means no limit.
    int wait(const std::timespec* deadline)
    {
        return deadline == nullptr ? ::pthread_cond_wait(&condition_, &mutex_)
                                   : ::pthread_cond_timedwait(&condition_, &mutex_, deadline);
    }

private:
    /// The condition counts by the monotonic clock: a step of the wall clock neither cuts a wait nor extends it.
    bool make_condition()
    {
        pthread_condattr_t attributes;
        if (::pthread_condattr_init(&attributes) != 0) {
            return false;
        }
        const bool made = ::pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC) == 0 &&
                          ::pthread_cond_init(&condition_, &attributes) == 0;
        ::pthread_condattr_destroy(&attributes);
        return made;
    }

    pthread_mutex_t mutex_{};
    pthread_cond_t condition_{};
    bool mutex_made_;
    bool condition_made_;
};

namespace {

using Guard = std::lock_guard<Signal::Private_implementation>;

std::timespec deadline_in(std::uint32_t milliseconds)
{
    std::timespec deadline{};
    ::clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += milliseconds / 1000;
    deadline.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
    if (deadline.tv_nsec >= 1'000'000'000) {
        deadline.tv_nsec -= 1'000'000'000;
        ++deadline.tv_sec;
    }
    return deadline;
}

/// The wait itself, with the lock held.
int wait_locked(Signal::Private_implementation& implementation, const Predicate_non_parameterized& predicate,
                std::uint32_t timeout_ms)
{
    const std::timespec deadline = deadline_in(timeout_ms);
    for (;;) {
        const int result = implementation.wait(timeout_ms == 0 ? nullptr : &deadline);
        const bool holds = predicate.evaluate();
        if (result == ETIMEDOUT) {
            return 0;
        }
        if (result != 0) {
            return -1; // the call fails each time: another turn would spin
        }
        if (holds) {
            return 1;
        }
    }
}

} // namespace

std::shared_ptr<Signal> Signal::create()
{
    std::unique_ptr<Private_implementation> implementation(new (std::nothrow) Private_implementation);
    if (implementation == nullptr || !implementation->valid()) {
        return nullptr;
    }
    return std::shared_ptr<Signal>(new (std::nothrow) Signal(std::move(implementation)));
}

Signal::Signal(std::unique_ptr<Private_implementation> implementation)
    : implementation_(std::move(implementation))
{}

Signal::~Signal() = default;

int Signal::wait(const Predicate_non_parameterized& predicate, std::uint32_t timeout_ms)
{
    const Guard guard(*implementation_);
    return wait_locked(*implementation_, predicate, timeout_ms);
}

int Signal::wait_unless(const Predicate_non_parameterized& predicate, std::uint32_t timeout_ms)
{
    const Guard guard(*implementation_);
    return predicate.evaluate() ? 1 : wait_locked(*implementation_, predicate, timeout_ms);
}

void Signal::raise()
{
    const Guard guard(*implementation_);
    implementation_->broadcast();
}

} // namespace qv::thread::signal
