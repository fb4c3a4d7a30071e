#include "framework/application/primal.h"

#include <cstdio>
#include <utility>

#include "framework/application/jobs.h"
#include "framework/file/path_text.h"

namespace qv::application::initializer::primal {

namespace {

constexpr const char* default_name = "qv_application";

/// The first argument; empty when there is none.
std::string called_as(const Start_parameters& start)
{
    return start.argc > 0 && start.argv != nullptr && start.argv[0] != nullptr ? start.argv[0] : "";
}

std::string first_not_empty(const std::string& first, const std::string& second)
{
    if (!first.empty()) {
        return first;
    }
    return second.empty() ? default_name : second;
}

std::string configuration_file_of(const Start_parameters& start)
{
    if (!start.configuration_file.empty()) {
        return start.configuration_file;
    }
    return first_not_empty(start.application_name, file::stem(called_as(start))) + "_config.xml";
}

} // namespace

class Primal::Implementation final : public initializer::Implementation {
public:
    explicit Implementation(Primal& primal)
        : initializer::Implementation(primal)
    {
        add(std::make_unique<job::Config>(primal, primal.configuration_file()));
    }
};

Primal::Primal(std::shared_ptr<Run_wrapper> inner, const Application_description& description)
    : Initializer(std::move(inner), description)
{
    const Start_parameters none;
    const auto& start = description.start_parameters != nullptr ? *description.start_parameters : none;
    program_name_ = first_not_empty(called_as(start), start.application_name);
    configuration_file_ = configuration_file_of(start);
}

bool Primal::init_own()
{
    install(std::make_unique<Implementation>(*this));
    read_title();
    print_title_and_version();
    return is_up();
}

bool Primal::deinit_own()
{
    const bool was_up = is_up();
    const bool stopped = Initializer::deinit_own();
    if (was_up) {
        print_title_and_version();
    }
    return stopped;
}

void Primal::print_title_and_version() const
{
    if (has(flag::print_title_and_version)) {
        std::printf("%s %s\n", title().c_str(), version_text(version()).c_str());
    }
}

} // namespace qv::application::initializer::primal
