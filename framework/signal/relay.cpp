#include "framework/signal/relay.h"

#include <array>
#include <atomic>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "framework/thread/handle.h"

namespace qv::posix_signal::relay {

namespace {

/// The descriptors, made once and never closed: a handler that is still running may write to them at any time.
struct Channel {
    std::atomic<int> read_end{-1};
    std::atomic<int> write_end{-1};
    std::atomic<int> done{-1}; ///< an event counter, raised after the last words
};

constinit Channel channel;
constinit std::atomic<void (*)(const Record&)> receiver{nullptr};
constinit std::atomic<bool> running{false};
constinit std::atomic<pthread_t> thread_id{};

bool open_channel()
{
    if (channel.write_end >= 0) {
        return true;
    }
    std::array<int, 2> ends{};
    const int done = ::eventfd(0, EFD_CLOEXEC);
    if (done < 0 || ::pipe2(ends.data(), O_CLOEXEC) != 0) {
        if (done >= 0) {
            ::close(done);
        }
        return false;
    }
    ::fcntl(ends[1], F_SETFL, O_NONBLOCK); // a handler must never wait
    channel.read_end = ends[0];
    channel.done = done;
    channel.write_end = ends[1];
    return true;
}

/// Takes the next record; false when the pipe fails. Records are shorter than PIPE_BUF and come whole.
bool receive(Record& record)
{
    ssize_t count = 0;
    do {
        count = ::read(channel.read_end, &record, sizeof record);
    } while (count < 0 && errno == EINTR);
    return count == sizeof record;
}

void* run(void*)
{
    Record record{};
    while (receive(record) && record.kind != Kind::stop) {
        (*receiver.load())(record);
        if (record.kind == Kind::last_words) {
            const std::uint64_t one = 1;
            static_cast<void>(::write(channel.done, &one, sizeof one) == sizeof one);
        }
    }
    return nullptr;
}

thread::Handle& handle()
{
    static thread::Handle* const kept = new thread::Handle("posix signals"); // outlives every static object
    return *kept;
}

/// Starts the thread with all signals blocked except those of its own faults, so that none interrupts it.
bool start_blocked()
{
    sigset_t blocked;
    sigset_t former;
    ::sigfillset(&blocked);
    for (const int fault : {SIGABRT, SIGILL, SIGFPE, SIGBUS, SIGSEGV, SIGSYS}) {
        ::sigdelset(&blocked, fault);
    }
    ::pthread_sigmask(SIG_SETMASK, &blocked, &former);
    const bool started = handle().start(&run, nullptr, thread::Ending::join);
    ::pthread_sigmask(SIG_SETMASK, &former, nullptr);
    return started;
}

} // namespace

bool start(void (*receive)(const Record&))
{
    receiver = receive;
    if (!open_channel() || !start_blocked()) {
        return false;
    }
    thread_id = handle().id();
    running = true;
    return true;
}

void stop()
{
    running = false;
    const Record last{Kind::stop, 0, {}};
    while (!post(last)) {
        ::poll(nullptr, 0, 1); // the pipe is full; the thread is emptying it
    }
    handle().join();
}

bool post(const Record& record) noexcept
{
    return ::write(channel.write_end, &record, sizeof record) == sizeof record;
}

void post_and_wait(const Record& record, int timeout_ms) noexcept
{
    if (!running || ::pthread_equal(::pthread_self(), thread_id) != 0 || !post(record)) {
        return;
    }
    pollfd done{channel.done, POLLIN, 0};
    ::poll(&done, 1, timeout_ms);
}

} // namespace qv::posix_signal::relay
