#pragma once

#include <csignal>
#include <cstdint>

#include "framework/thread/alternate_stack.h"

namespace qv::posix_signal {

/// The type bits of the signals. They are what a mask selects and what a process killed by a signal tells in its
/// exit status, negated.
namespace type {
inline constexpr std::uint32_t hangup = 0x001;
inline constexpr std::uint32_t keyboard_interrupt = 0x002;
inline constexpr std::uint32_t abort = 0x004;
inline constexpr std::uint32_t terminated_with_error = 0x008;
inline constexpr std::uint32_t normal_termination = 0x010;
inline constexpr std::uint32_t illegal_instruction = 0x020;
inline constexpr std::uint32_t floating_point_exception = 0x040;
inline constexpr std::uint32_t bus_error = 0x080;
inline constexpr std::uint32_t segment_violation = 0x100;
inline constexpr std::uint32_t bad_system_call_argument = 0x200;
inline constexpr std::uint32_t pipe_fault = 0x400;
inline constexpr std::uint32_t user_signal_1 = 0x800;

inline constexpr std::uint32_t all = 0xFFF;
/// Faults of the program itself, after which its threads cannot go on.
inline constexpr std::uint32_t fatal = abort | illegal_instruction | floating_point_exception | bus_error |
                                       segment_violation | bad_system_call_argument;
} // namespace type

/// Gets the process's signals while it lives. Handlers nest: a signal goes to the youngest that asked for it, and
/// the former actions come back with the end of the last one.
///
/// Thread: the real signal handler only writes a record to a pipe. The operations run on an ordinary thread, one
/// at a time, and may lock, allocate and post. The exceptions are the fatal types: these run in the signal's
/// context, on the thread that failed, and an override may use what is safe there and nothing else.
///
/// A class that overrides operations is made with the default constructor, calls `install` as the last step of its
/// own constructor and `retire` as the first of its destructor, so that no signal meets half an object. Neither is
/// called from an operation.
class Handler {
public:
    /// Takes the signals whose type bits `mask` has.
    explicit Handler(std::uint32_t mask);
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;
    virtual ~Handler();

    /// The youngest handler; null when there is none.
    static Handler* active_handler() noexcept;

    /// One operation for each type, in the order of the bits. `info` is the system's, or a copy.
    virtual void on_hangup(std::uint32_t type, const siginfo_t& info);
    virtual void on_keyboard_interrupt(std::uint32_t type, const siginfo_t& info);
    virtual void on_abort(std::uint32_t type, const siginfo_t& info);
    virtual void on_terminated_with_error(std::uint32_t type, const siginfo_t& info);
    virtual void on_normal_termination(std::uint32_t type, const siginfo_t& info);
    virtual void on_illegal_instruction(std::uint32_t type, const siginfo_t& info);
    virtual void on_floating_point_exception(std::uint32_t type, const siginfo_t& info);
    virtual void on_bus_error(std::uint32_t type, const siginfo_t& info);
    virtual void on_segment_violation(std::uint32_t type, const siginfo_t& info);
    virtual void on_bad_system_call_argument(std::uint32_t type, const siginfo_t& info);
    virtual void on_pipe_fault(std::uint32_t type, const siginfo_t& info);
    virtual void on_user_signal_1(std::uint32_t type, const siginfo_t& info);

    std::uint32_t mask() const noexcept { return mask_; }

protected:
    Handler() = default;
    /// Without the thread that runs the operations only the fatal types are taken; the others keep their action.
    void install(std::uint32_t mask);
    /// Returns when no operation of this handler runs any more. A second call does nothing.
    void retire();

private:
    struct Signal_wrapper;

    const thread::Alternate_stack stack_; ///< of the thread that made this; a thread by `wrap` has its own
    std::uint32_t mask_ = 0;
};

} // namespace qv::posix_signal
