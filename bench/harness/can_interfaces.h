#pragma once

#include <initializer_list>
#include <string>

#include <net/if.h>
#include <sched.h>
#include <unistd.h>

namespace harness {

/// Why a test cannot run on these CAN interfaces of the machine; empty when it can.
inline std::string obstacle(std::initializer_list<const char*> names)
{
    for (const char* name : names) {
        if (::if_nametoindex(name) == 0) {
            return std::string("this kernel has no CAN interface ") + name;
        }
    }
    return ::geteuid() == 0 ? "" : "only root may change an interface";
}

/// Binds this thread and all that it starts to one CPU. A virtual interface has a queue for each: where two are at
/// work, frames overtake each other on their way to a receiver.
inline void stay_on_one_cpu()
{
    cpu_set_t first;
    CPU_ZERO(&first);
    CPU_SET(0, &first);
    ::sched_setaffinity(0, sizeof first, &first);
}

} // namespace harness
