#include "bench/can_router/options.h"
#include "bench/can_router/router.h"
#include "bench/command_line/stop_signals.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    int exit_status = 0;
    const auto options = bench::parse_router_options(argc, argv, exit_status);
    if (!options) {
        return exit_status;
    }
    const int stop = bench::stop_signals();
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
