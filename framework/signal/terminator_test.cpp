#include "framework/signal/terminator.h"

#include <array>
#include <atomic>
#include <chrono>
#include <thread>

#include <unistd.h>

#include <gtest/gtest.h>

#include "framework/thread/handle.h"

namespace qv::thread::current {
namespace {

/// What the thread under test sees and does.
struct Scene {
    std::array<int, 2> pipe{};
    std::chrono::milliseconds late_start{0};
    std::atomic<int> received{0};
    std::atomic<bool> stopped{false};
};

/// A thread that reads bytes until it shall end.
void* read_until_stopped(void* argument)
{
    Scene& scene = *static_cast<Scene*>(argument);
    std::this_thread::sleep_for(scene.late_start);
    Terminator terminator;
    while (!terminator.stop_requested()) {
        char byte = 0;
        if (terminator.wait_readable(scene.pipe[0]) && ::read(scene.pipe[0], &byte, 1) == 1) {
            ++scene.received;
        }
    }
    scene.stopped = true;
    return nullptr;
}

TEST(Terminator_test, kill_ends_the_wait_also_when_it_comes_before_and_the_thread_returns_in_order)
{
    for (const bool early : {false, true}) {
        Scene scene;
        ASSERT_EQ(::pipe(scene.pipe.data()), 0);
        scene.late_start = std::chrono::milliseconds(early ? 50 : 0);
        Handle handle("reader");
        ASSERT_TRUE(handle.start(&read_until_stopped, &scene, Ending::kill));
        ASSERT_EQ(::write(scene.pipe[1], "ab", 2), 2);
        while (!early && scene.received < 2) {
            std::this_thread::yield();
        }
        EXPECT_TRUE(handle.stop() && handle.join());
        EXPECT_TRUE(scene.stopped);
        EXPECT_EQ(scene.received, early ? 0 : 2);
        ::close(scene.pipe[0]);
        ::close(scene.pipe[1]);
    }
}

} // namespace
} // namespace qv::thread::current
