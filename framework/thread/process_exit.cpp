#include "framework/thread/process_exit.h"

#include <atomic>
#include <cstdio>

#include <unistd.h>

namespace qv::thread {

namespace {

std::atomic<Exit_flush> exit_flush{nullptr};

} // namespace

void set_exit_flush(Exit_flush flush) noexcept { exit_flush = flush; }

void flush_before_exit()
{
    if (const Exit_flush flush = exit_flush) {
        flush();
    }
}

void end_process(int status)
{
    flush_before_exit();
    // Not every stream: one that another thread reads from is locked until something comes.
    std::fflush(stdout);
    std::fflush(stderr);
    ::_exit(status);
}

} // namespace qv::thread
