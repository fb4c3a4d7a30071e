#pragma once

#include <memory>

namespace qv::thread::current {

/// Lets others stop a thread while it waits for a descriptor. The thread itself makes it.
///
/// `Handle::kill` ends the wait; the thread then sees `stop_requested` and leaves its function, so that everything
/// on its stack is destroyed in order. `Handle::cancel` takes effect only during the wait, when the thread holds
/// nothing, and unwinds the stack too. An early request is kept and ends the next wait at once. This also holds
/// for one from before the Terminator was made, if the thread was started with `Ending::kill`. SIGUSR1 stays
/// blocked on the thread afterwards.
///
/// Thread: the one that made it; only the signal comes from others.
class Terminator {
public:
    Terminator();
    ~Terminator();
    Terminator(const Terminator&) = delete;
    Terminator& operator=(const Terminator&) = delete;

    bool stop_requested() const noexcept;
    /// Waits until `descriptor` can be read (true), or until the thread is to end or `timeout_ms` is over (false).
    /// -1 is no limit.
    [[nodiscard]] bool wait_readable(int descriptor, int timeout_ms = -1);

private:
    class Private_implementation;
    friend bool interrupt_own_thread() noexcept;

    std::unique_ptr<Private_implementation> implementation_;
};

} // namespace qv::thread::current
