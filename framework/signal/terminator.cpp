#include "framework/signal/terminator.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <span>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "framework/signal/handler.h"
#include "framework/signal/interruption.h"

namespace qv::thread::current {

/// Keeps SIGUSR1 caught, and an event counter that the signal raises.
class Terminator::Private_implementation : public posix_signal::Handler {
public:
    Private_implementation()
        : event_(::eventfd(0, EFD_CLOEXEC))
    {
        ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former_cancel_state_);
        ::pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &former_cancel_type_);
        install(posix_signal::type::user_signal_1);
    }
    ~Private_implementation() override
    {
        retire();
        if (event_ >= 0) {
            ::close(event_);
        }
        ::pthread_setcanceltype(former_cancel_type_, nullptr);
        ::pthread_setcancelstate(former_cancel_state_, nullptr);
    }

    void request() noexcept
    {
        requested_ = true;
        const std::uint64_t one = 1;
        static_cast<void>(::write(event_, &one, sizeof one) == sizeof one);
    }
    bool requested() const noexcept { return requested_; }
    int event() const noexcept { return event_; }

private:
    int event_;
    std::atomic<bool> requested_{false};
    int former_cancel_state_ = PTHREAD_CANCEL_ENABLE;
    int former_cancel_type_ = PTHREAD_CANCEL_DEFERRED;
};

namespace {

/// The one of this thread, where its signal handler finds it.
constinit thread_local std::atomic<void*> own{nullptr};

const sigset_t& user_signal()
{
    static const sigset_t set = [] {
        sigset_t only{};
        ::sigemptyset(&only);
        ::sigaddset(&only, SIGUSR1);
        return only;
    }();
    return set;
}

/// `poll` with cancellation let in.
int poll_cancellable(std::span<pollfd> waited, int timeout_ms)
{
    ::pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    const int count = ::poll(waited.data(), waited.size(), timeout_ms);
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    return count;
}

} // namespace

Terminator::Terminator()
    : implementation_(std::make_unique<Private_implementation>())
{
    own = implementation_.get();
    ::pthread_sigmask(SIG_UNBLOCK, &user_signal(), nullptr); // a request that waited is delivered here
}

Terminator::~Terminator()
{
    ::pthread_sigmask(SIG_BLOCK, &user_signal(), nullptr); // one that comes too late has nothing to end
    own = nullptr;
}

bool Terminator::stop_requested() const noexcept { return implementation_->requested(); }

bool Terminator::wait_readable(int descriptor, int timeout_ms)
{
    std::array<pollfd, 2> waited = {pollfd{descriptor, POLLIN, 0}, pollfd{implementation_->event(), POLLIN, 0}};
    if (poll_cancellable(waited, timeout_ms) <= 0) {
        return false;
    }
    return !stop_requested() && waited[0].revents != 0;
}

bool interrupt_own_thread() noexcept
{
    auto* const implementation = static_cast<Terminator::Private_implementation*>(own.load());
    if (implementation == nullptr) {
        return false;
    }
    implementation->request();
    return true;
}

} // namespace qv::thread::current
