#pragma once

#include <memory>

namespace qv::thread::current {

/// Made by a thread that must be stoppable from outside while it waits for a descriptor.
///
/// `Handle::kill` makes the wait return; the thread then sees `stop_requested` and leaves its function, so that
/// everything on its stack is destroyed in order. `Handle::cancel` acts during the wait and nowhere else, where
/// the thread holds nothing; its stack is unwound as well. The request is kept: one that comes before the wait
/// begins ends it at once, and so does one that came before the Terminator was made, when the thread was started
/// to be ended by `kill`. SIGUSR1 stays blocked on the thread afterwards.
///
/// Thread: the one that made it, apart from the signal.
class Terminator {
public:
    Terminator();
    ~Terminator();
    Terminator(const Terminator&) = delete;
    Terminator& operator=(const Terminator&) = delete;

    bool stop_requested() const noexcept;
    /// Waits until `descriptor` can be read (true), the thread shall end, or `timeout_ms` is over (false). -1 is
    /// no limit.
    [[nodiscard]] bool wait_readable(int descriptor, int timeout_ms = -1);

private:
    class Private_implementation;
    friend bool interrupt_own_thread() noexcept;

    std::unique_ptr<Private_implementation> implementation_;
};

} // namespace qv::thread::current
