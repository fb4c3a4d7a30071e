#include "framework/thread/handle.h"

#include <cerrno>
#include <csignal>

namespace qv::thread {

namespace {

std::atomic<Lifecycle_hook> lifecycle_hook{nullptr};

/// Creates a thread with the signals blocked that others send to the process: a thread that is starting or ending
/// cannot swallow them. One that ends by `kill` also starts with SIGUSR1 blocked, so that an early request stays
/// pending and does not end the process.
int create_with_blocked_signals(pthread_t& id, void* (*routine)(void*), void* argument, Ending ending)
{
    sigset_t blocked{};
    sigset_t former{};
    ::sigemptyset(&blocked);
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        ::sigaddset(&blocked, number);
    }
    if (ending == Ending::kill) {
        ::sigaddset(&blocked, SIGUSR1);
    }
    ::pthread_sigmask(SIG_BLOCK, &blocked, &former);
    const int result = ::pthread_create(&id, nullptr, routine, argument);
    ::pthread_sigmask(SIG_SETMASK, &former, nullptr);
    return result;
}

} // namespace

Handle::Handle(std::string name)
    : name_(std::move(name))
{}

Handle::~Handle()
{
    if (joinable_) {
        ::pthread_detach(id_);
    }
}

bool Handle::start(void* (*routine)(void*), void* argument, Ending ending)
{
    const std::lock_guard guard(mutex_); // until `id_` stands: the new thread may be ended at once
    if (joinable_) {
        return store(EBUSY);
    }
    ending_ = ending;
    const int result = create_with_blocked_signals(id_, routine, argument, ending);
    joinable_ = result == 0;
    return store(result);
}

pthread_t Handle::id() const noexcept
{
    const std::lock_guard guard(mutex_);
    return id_;
}

bool Handle::stop()
{
    std::unique_lock guard(mutex_);
    const Ending ending = ending_;
    guard.unlock();
    switch (ending) {
        case Ending::join: return join();
        case Ending::cancel: return cancel();
        case Ending::kill: return kill();
    }
    return false;
}

bool Handle::cancel()
{
    const std::lock_guard guard(mutex_); // nobody joins the thread away during the call
    return store(joinable_ ? ::pthread_cancel(id_) : ESRCH);
}

bool Handle::join()
{
    std::unique_lock guard(mutex_);
    if (!joinable_) {
        return store(ESRCH);
    }
    if (::pthread_equal(id_, ::pthread_self()) != 0) {
        return store(EDEADLK); // another can still join it
    }
    joinable_ = false;
    const pthread_t taken = id_;
    guard.unlock();
    return store(::pthread_join(taken, nullptr));
}

bool Handle::kill()
{
    const std::lock_guard guard(mutex_);
    return store(joinable_ ? ::pthread_kill(id_, SIGUSR1) : ESRCH);
}

bool Handle::store(int result) noexcept
{
    error_ = result;
    return result == 0;
}

void set_lifecycle_hook(Lifecycle_hook hook) noexcept { lifecycle_hook = hook; }

void report_lifecycle(const std::shared_ptr<Handle>& handle, bool finished)
{
    if (const Lifecycle_hook hook = lifecycle_hook) {
        hook(handle, finished);
    }
}

namespace argument_less {

void* wrap(void* record)
{
    const std::unique_ptr<Record> owned(static_cast<Record*>(record));
    const Alternate_stack stack;
    report_lifecycle(owned->handle, false);
    owned->function();
    report_lifecycle(owned->handle, true);
    return nullptr;
}

bool start(const std::shared_ptr<Handle>& handle, void (*function)(), Ending ending)
{
    auto record = std::make_unique<Record>(Record{handle, function});
    if (!handle->start(&wrap, record.get(), ending)) {
        return false;
    }
    static_cast<void>(record.release()); // the thread deletes it
    return true;
}

} // namespace argument_less

} // namespace qv::thread
