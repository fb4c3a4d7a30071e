#include "framework/application/comm.h"

#include "comm/config_message.h"
#include "comm/master.h"
#include "config/primary.h"
#include "framework/application/jobs.h"

namespace qv::application::initializer::comm {

namespace {

/// The start itself made keys, before anybody could be told that there is something to save.
void report_early_changes()
{
    const auto configuration = config::primary_configuration();
    if (configuration && configuration->modified) {
        qv::comm::post_to(qv::comm::primary_dispatcher_id(),
                          std::make_unique<qv::comm::message::config::Changed>());
    }
}

} // namespace

class Comm::Implementation final : public initializer::Implementation {
public:
    explicit Implementation(Comm& comm)
        : initializer::Implementation(comm)
    {
        add(std::make_unique<job::comm::Core>(comm));
        add(std::make_unique<job::comm::Handlers>(comm));
    }
};

bool Comm::init_own()
{
    read_title();
    install(std::make_unique<Implementation>(*this));
    report_early_changes();
    return is_up();
}

} // namespace qv::application::initializer::comm
