#include "framework/thread/alternate_stack.h"

#include <csignal>
#include <cstddef>

#include <sys/mman.h>

namespace qv::thread {

namespace {

constexpr std::size_t stack_size = std::size_t{64} << 10; // pages come when they are used

stack_t current_stack() noexcept
{
    stack_t current{};
    ::sigaltstack(nullptr, &current);
    return current;
}

} // namespace

Alternate_stack::Alternate_stack() noexcept
{
    if ((current_stack().ss_flags & SS_DISABLE) == 0) {
        return;
    }
    void* const memory =
        ::mmap(nullptr, stack_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (memory != MAP_FAILED) {
        const stack_t stack{.ss_sp = memory, .ss_flags = 0, .ss_size = stack_size};
        ::sigaltstack(&stack, nullptr);
        memory_ = memory;
    }
}

Alternate_stack::~Alternate_stack()
{
    if (memory_ != nullptr && current_stack().ss_sp == memory_) {
        const stack_t none{.ss_sp = nullptr, .ss_flags = SS_DISABLE, .ss_size = 0};
        ::sigaltstack(&none, nullptr);
        ::munmap(memory_, stack_size);
    }
}

} // namespace qv::thread
