#include "framework/thread/pause.h"

#include <atomic>
#include <thread>

namespace qv::thread {

namespace {

std::atomic<Pause_function> replacement{nullptr};

} // namespace

void pause(std::chrono::milliseconds duration)
{
    if (const Pause_function function = replacement.load()) {
        function(duration);
    } else {
        std::this_thread::sleep_for(duration);
    }
}

void pause(std::chrono::milliseconds duration, const std::atomic<bool>& cancelled)
{
    if (const Pause_function function = replacement.load()) {
        return function(duration);
    }
    const auto end = std::chrono::steady_clock::now() + duration;
    while (!cancelled && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

Pause_function set_pause(Pause_function function) noexcept { return replacement.exchange(function); }

} // namespace qv::thread
