#pragma once

#include <cstdint>
#include <memory>

namespace qv {

/// An abstract test, evaluated under the lock of the signal that waits for it.
class Predicate_non_parameterized {
public:
    virtual ~Predicate_non_parameterized() = default;
    virtual bool evaluate() const = 0;
};

class Predicate_non_parameterized_true final : public Predicate_non_parameterized {
public:
    bool evaluate() const override { return true; }
};

/// The test made of a callable without arguments, which outlives it.
template <class Test> class Predicate_of final : public Predicate_non_parameterized {
public:
    explicit Predicate_of(const Test& test) noexcept
        : test_(test)
    {}
    bool evaluate() const override { return test_(); }

private:
    const Test& test_;
};

} // namespace qv

namespace qv::thread::signal {

/// Wakes threads that wait. A raise is not remembered: what must not be missed is tested by the predicate of
/// `wait_unless` before the thread goes to sleep.
///
/// Thread: any.
class Signal {
public:
    class Private_implementation;

    /// Empty when the mutex or the condition cannot be made.
    static std::shared_ptr<Signal> create();

    virtual ~Signal();
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;

    /// Sleeps until a raise after which `predicate` holds. A `timeout_ms` of 0 means no limit.
    /// Returns 1, -1 when the wait call itself failed, 0 when the time ran out.
    int wait(const Predicate_non_parameterized& predicate, std::uint32_t timeout_ms);
    /// Returns 1 at once when `predicate` holds already, else waits as above. The test is made under the lock
    /// that `raise` takes: a thread that first queues and then raises is never missed.
    int wait_unless(const Predicate_non_parameterized& predicate, std::uint32_t timeout_ms);
    void raise();

private:
    explicit Signal(std::unique_ptr<Private_implementation> implementation);
    std::unique_ptr<Private_implementation> implementation_;
};

} // namespace qv::thread::signal
