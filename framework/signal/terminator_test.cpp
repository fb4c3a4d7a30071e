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
    std::atomic<bool> stopped{false};
    std::atomic<int> received{0};

    Scene() { EXPECT_EQ(::pipe(pipe.data()), 0); }
    ~Scene()
    {
        ::close(pipe[0]);
        ::close(pipe[1]);
    }
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

template <class Condition> void wait_for(Condition condition)
{
    while (!condition()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

class Terminator_test : public testing::Test {
protected:
    void start(Ending ending) { ASSERT_TRUE(handle_.start(&read_until_stopped, &scene_, ending)); }

    Scene scene_;
    Handle handle_{"reader"};
};

TEST_F(Terminator_test, kill_ends_the_wait_and_the_thread_returns_in_order)
{
    start(Ending::kill);
    ASSERT_EQ(::write(scene_.pipe[1], "ab", 2), 2);
    wait_for([&] { return scene_.received == 2; });
    EXPECT_TRUE(handle_.stop());
    EXPECT_TRUE(handle_.join());
    EXPECT_TRUE(scene_.stopped);
    EXPECT_FALSE(handle_.kill()) << "the thread is gone";
}

TEST_F(Terminator_test, a_kill_before_the_thread_can_take_it_is_kept)
{
    scene_.late_start = std::chrono::milliseconds(50);
    start(Ending::kill);
    EXPECT_TRUE(handle_.stop());
    EXPECT_TRUE(handle_.join());
    EXPECT_TRUE(scene_.stopped);
}

} // namespace
} // namespace qv::thread::current
