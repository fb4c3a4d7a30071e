#include "framework/application/initializer.h"

#include <utility>

#include "config/label.h"
#include "config/primary.h"

namespace qv::application::initializer {

Implementation::Implementation(Initializer& initializer) noexcept
    : initializer_(&initializer)
{}

Implementation::~Implementation()
{
    while (!jobs_.empty()) {
        jobs_.pop_back();
    }
}

Initializer::Initializer(std::shared_ptr<Run_wrapper> inner, const Application_description& description)
    : Cascade(std::move(inner))
    , title_(description.title)
    , version_(description.version)
    , flags_(description.flags)
{}

Initializer::~Initializer()
{
    release_inner();
    implementation_.reset();
}

bool Initializer::deinit_own()
{
    implementation_.reset();
    return true;
}

void Initializer::read_title()
{
    const auto configuration = config::primary_configuration();
    if (!configuration) {
        return;
    }
    auto* node = configuration->find_object(config::label::application, true);
    if (const char* text = configuration->get_text(node, config::label::title, title_.c_str())) {
        title_ = std::string(text); // the text may lie in `title_` itself
    }
}

bool Initializer::install(std::unique_ptr<Implementation> implementation) noexcept
{
    implementation_ = std::move(implementation);
    return is_up();
}

} // namespace qv::application::initializer
