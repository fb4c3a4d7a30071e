#include "framework/log/hook.h"

#include <array>
#include <cstddef>
#include <new>

#include <poll.h>

namespace qv::log {

namespace {

/// Counts the calls that are inside the sink, or about to look for it. Threads are spread over several, so that
/// they seldom share a cache line.
struct alignas(64) Counter {
    std::atomic<std::uint32_t> calls{0};
};

constinit std::array<Counter, 8> counters;
constinit std::atomic<std::uint32_t> threads_seen{0};

constinit thread_local Counter* own_counter = nullptr;
constinit thread_local std::uint32_t own_calls = 0; ///< a sink may log itself, a signal interrupt a call

Counter& counter_of_thread() noexcept
{
    if (own_counter == nullptr) {
        own_counter = &counters[threads_seen.fetch_add(1, std::memory_order_relaxed) % counters.size()];
    }
    return *own_counter;
}

/// A stay inside the sink, if there is one. Whoever counts itself first and then sees the sink is waited for.
class Call {
public:
    Call() noexcept
        : counter_(counter_of_thread())
    {
        ++own_calls;
        counter_.calls.fetch_add(1);
        sink_ = internal::current_sink.load();
    }
    ~Call()
    {
        counter_.calls.fetch_sub(1, std::memory_order_release);
        --own_calls;
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    bool accepts(Level level) const { return sink_ != nullptr && sink_->accepts(level); }
    Sink* sink() const noexcept { return sink_; }

private:
    Counter& counter_;
    Sink* sink_;
};

/// Waits until the calls of other threads have left. None comes in meanwhile, since there is no sink.
void wait_for_calls() noexcept
{
    for (const auto& counter : counters) {
        const std::uint32_t own = &counter == own_counter ? own_calls : 0;
        while (counter.calls.load() > own) {
            ::poll(nullptr, 0, 1);
        }
    }
}

bool has_sink() noexcept { return internal::current_sink.load(std::memory_order_relaxed) != nullptr; }

} // namespace

void set_sink(Sink* sink) noexcept
{
    if (internal::current_sink.exchange(nullptr) != nullptr) {
        wait_for_calls();
    }
    internal::current_sink.store(sink);
}

bool accepts(Level level) { return has_sink() && Call().accepts(level); }

Client register_client(std::string_view name)
{
    if (!has_sink()) {
        return 0;
    }
    const Call call;
    return call.sink() == nullptr ? 0 : call.sink()->register_client(name);
}

void internal::write(Level level, Client client, const char* format, std::initializer_list<Argument> arguments)
try {
    const Call call;
    if (!call.accepts(level)) {
        return;
    }
    string::formatting::Collector text(format);
    for (const Argument& argument : arguments) {
        argument.feed(text);
    }
    call.sink()->write(level, client, text);
} catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): there is no log line to tell it
}

} // namespace qv::log
