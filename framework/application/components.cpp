#include "framework/application/components.h"

#include "framework/application/jobs.h"

namespace qv::application::initializer::components {

class Components::Implementation final : public initializer::Implementation {
public:
    explicit Implementation(Components& components)
        : initializer::Implementation(components)
    {
        add(std::make_unique<job::Posix_signal_handler>(components));
        add(std::make_unique<job::Log>(components));
    }
};

bool Components::init_own()
{
    read_title();
    return install(std::make_unique<Implementation>(*this));
}

} // namespace qv::application::initializer::components
