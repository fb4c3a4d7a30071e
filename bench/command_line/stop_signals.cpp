#include "bench/command_line/stop_signals.h"

#include <csignal>

#include <sys/signalfd.h>

namespace bench {

int stop_signals()
{
    sigset_t set;
    ::sigemptyset(&set);
    ::sigaddset(&set, SIGTERM);
    ::sigaddset(&set, SIGINT);
    if (::sigprocmask(SIG_BLOCK, &set, nullptr) != 0) {
        return -1;
    }
    return ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

} // namespace bench
