#pragma once

namespace qv::thread {

/// While it lives, signal handlers with SA_ONSTACK run on a stack of their own on the thread that made it, so that
/// an overflow of the ordinary stack can still be reported. Does nothing for a thread that has such a stack
/// already, and when memory ends.
class Alternate_stack {
public:
    Alternate_stack() noexcept;
    /// Called on another thread it leaves the stack where it is.
    ~Alternate_stack();
    Alternate_stack(const Alternate_stack&) = delete;
    Alternate_stack& operator=(const Alternate_stack&) = delete;

private:
    void* memory_ = nullptr; ///< null when it does nothing
};

} // namespace qv::thread
