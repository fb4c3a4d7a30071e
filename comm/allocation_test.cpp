#include <atomic>
#include <cstdlib>
#include <new>

#include "comm/test_kit.h"
#include "comm/time_message.h"

namespace {
std::atomic<int> allocations{0};
} // namespace

void* operator new(std::size_t size)
{
    ++allocations;
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace qv::comm {
namespace {

using message::Time_tick;

class Allocation_test : public test::Core_test {
protected:
    /// Heap allocations of one tick from post to delivery, the message itself left out.
    int of_one_tick()
    {
        std::unique_ptr<message::Message> tick = std::make_unique<Time_tick>();
        const int before = allocations;
        dispatcher->post(tick);
        dispatcher->process_queue();
        return allocations - before;
    }
    std::shared_ptr<Dispatcher> dispatcher = create_dispatcher("busy", true);
};

TEST_F(Allocation_test, costs_one_copy_of_the_subscribers_and_nothing_else)
{
    of_one_tick(); // makes the list node that all later messages use
    EXPECT_EQ(of_one_tick(), 0);
    for (int i = 0; i < 4; ++i) {
        listen(dispatcher, {Time_tick::id}, [](message::Message&) {});
    }
    EXPECT_EQ(of_one_tick(), 1);
}

} // namespace
} // namespace qv::comm
