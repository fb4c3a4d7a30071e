#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>

#include <pthread.h>

#include "framework/thread/alternate_stack.h"

namespace qv::thread {

/// How `Handle::stop` ends a thread.
enum class Ending : std::uint32_t {
    join = 0,   ///< wait for its end
    cancel = 1, ///< pthread_cancel
    kill = 2,   ///< pthread_kill with SIGUSR1, for a thread with a `current::Terminator`
};

/// One thread and the way it is ended. Shared by the thread's owner and the keeper of running threads, either of
/// which may end it: the first `join` takes the thread away, and every later attempt to end it is false.
///
/// Thread: any; `start` is called by one.
class Handle {
public:
    explicit Handle(std::string name);
    /// A thread that was started and never joined is detached.
    ~Handle();
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    /// Starts the thread, with the signals blocked that others send to the process: the main thread takes them.
    /// False when it cannot be started, or runs already; `error` then tells why.
    [[nodiscard]] bool start(void* (*routine)(void*), void* argument, Ending ending);
    pthread_t id() const noexcept;
    const std::string& name() const noexcept { return name_; }
    /// The result code of the last operation, an `errno` value.
    int error() const noexcept { return error_; }

    /// Ends the thread in the way given at its start. True when the system call succeeded.
    bool stop();
    bool cancel();
    bool join();
    bool kill();

private:
    bool store(int result) noexcept;

    std::string name_;
    std::atomic<int> error_{0};
    mutable std::mutex mutex_;     ///< not held while a thread is waited for
    pthread_t id_{};               ///< guarded by `mutex_`
    Ending ending_ = Ending::join; ///< guarded by `mutex_`
    bool joinable_ = false;        ///< guarded by `mutex_`; started, and neither joined nor being joined
};

/// Told when a thread begins (`finished` false) and ends (true), on that thread. The comm core fills it.
using Lifecycle_hook = void (*)(const std::shared_ptr<Handle>& handle, bool finished);
void set_lifecycle_hook(Lifecycle_hook hook) noexcept;
/// Calls the hook, when there is one.
void report_lifecycle(const std::shared_ptr<Handle>& handle, bool finished);

namespace argument_less {

/// What `wrap` runs: the handle and the thread's function.
struct Record {
    std::shared_ptr<Handle> handle;
    void (*function)();
};

/// The routine of every thread without an argument. Reports the begin, runs the function, reports the end,
/// and deletes `record`, a `Record` from the heap.
void* wrap(void* record);

/// Starts `function` on a new thread of `handle`.
[[nodiscard]] bool start(const std::shared_ptr<Handle>& handle, void (*function)(), Ending ending);

} // namespace argument_less

namespace argument {

template <class T> struct Record {
    std::shared_ptr<Handle> handle;
    void (*function)(T);
    T argument;
};

/// The twin of `argument_less::wrap` for a function with one argument, which is moved into the call.
template <class T> void* wrap(void* record)
{
    const std::unique_ptr<Record<T>> owned(static_cast<Record<T>*>(record));
    const Alternate_stack stack;
    report_lifecycle(owned->handle, false);
    owned->function(std::move(owned->argument));
    report_lifecycle(owned->handle, true);
    return nullptr;
}

/// Starts `function(argument)` on a new thread of `handle`.
template <class T>
[[nodiscard]] bool start(const std::shared_ptr<Handle>& handle, void (*function)(std::type_identity_t<T>),
                         T argument, Ending ending)
{
    auto record = std::make_unique<Record<T>>(Record<T>{handle, function, std::move(argument)});
    if (!handle->start(&wrap<T>, record.get(), ending)) {
        return false;
    }
    static_cast<void>(record.release()); // the thread deletes it
    return true;
}

} // namespace argument

} // namespace qv::thread
