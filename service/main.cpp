#include <cstdio>
#include <memory>

#include "can/bus/application.h"
#include "can/bus/module.h"
#include "can/bus/version.h"
#include "framework/application/comm.h"
#include "framework/application/components.h"
#include "framework/application/primal.h"
#include "service/application.h"
#include "service/flintrow.h"
#include "service/options.h"
#include "service/rpc/server.h"

namespace {

using qv::application::run_wrapper::Run_wrapper;
namespace initializer = qv::application::initializer;

constexpr const char* configuration_file = "/etc/tolvan/flintrow/flintrow_config.xml";
namespace flag = initializer::flag;
constexpr std::uint32_t flags = flag::comm | flag::config | flag::idle_sleep_preventer | flag::log |
                                flag::posix_signal_shutdown | flag::print_title_and_version;

/// The update service becomes a module of the bus thread.
const bool registered = qv::can_bus::application::bus_thread::module::Registry::instance().add(
    static_cast<qv::can_bus::application::bus_thread::module::Factory>(&qv::can_bus::flr::Flintrow::create));

/// The chain of run wrappers, from the inside to the outside.
std::shared_ptr<Run_wrapper> make_chain(const initializer::Application_description& description)
{
    auto parked = std::make_shared<qv::can_bus::flr::Application>();
    auto bus = std::make_shared<qv::can_bus::application::Application>(std::move(parked));
    auto components = std::make_shared<initializer::components::Components>(std::move(bus), description);
    auto comm = std::make_shared<initializer::comm::Comm>(std::move(components), description);
    return std::make_shared<initializer::primal::Primal>(std::move(comm), description);
}

/// What the chain's `run` gives, 3 when it does not come up. The chain is taken down also when an exception comes
/// out of it: all wrappers are still there while the threads end that call into them.
int init_and_run(Run_wrapper& outermost)
try {
    return outermost.init() ? outermost.run() : 3;
} catch (...) {
    outermost.deinit();
    throw;
}

/// -1 is what a wrapper's `run` gives after an orderly stop.
int run(Run_wrapper& outermost)
{
    const int code = init_and_run(outermost);
    const bool stopped = outermost.deinit();
    return !stopped && code == -1 ? 4 : code;
}

} // namespace

int main(int argc, char** argv)
{
    main_argc = argc;
    main_argv = argv;
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // progress reaches a pipe line by line
    std::puts("Starting iso client...\r");
    qv::can_bus::flr::remote_control_maker() = [](auto& service, std::uint16_t port) {
        return std::make_unique<qv::can_bus::flr::Rpc_server>(service, port);
    };
    try {
        const initializer::Start_parameters parameters{argc, argv, "", configuration_file};
        const initializer::Application_description description{&parameters, "Flintrow", qv::can_bus::Version(),
                                                               flags};
        return run(*make_chain(description)) == -1 ? 0 : 1;
    } catch (...) {
        std::puts("application terminated by exception");
    }
    return 1;
}
