#include "bench/can_router/options.h"
#include "bench/can_router/router.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <sys/signalfd.h>

namespace {

/// A descriptor that becomes readable when the program is asked to end.
int stop_descriptor()
{
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGINT);
    ::sigaddset(&signals, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    return ::signalfd(-1, &signals, SFD_CLOEXEC);
}

} // namespace

int main(int argc, char** argv)
{
    int exit_status = 0;
    const auto options = bench::parse_router_options(argc, argv, exit_status);
    if (!options) {
        return exit_status;
    }
    const int stop = stop_descriptor();
    bench::Frame_log log;
    if (!options->log.empty() && !log.open(options->log)) {
        std::fprintf(stderr, "can_router: cannot write %s: %s\n", options->log.c_str(), std::strerror(errno));
        return 1;
    }
    bench::Router router(options->bitrate, log);
    if (!router.listen(options->port)) {
        std::fprintf(stderr, "can_router: cannot listen on 127.0.0.1:%u: %s\n", options->port,
                     std::strerror(errno));
        return 1;
    }
    std::printf("listening on 127.0.0.1:%u\n", router.port());
    std::fflush(stdout);
    router.run(stop);
    return 0;
}
