#pragma once

#include "framework/application/initializer.h"

namespace qv::application::initializer::components {

/// The layer of what every application has in addition: the handler of the process's signals, and the log.
class Components final : public Initializer {
public:
    using Initializer::Initializer;
    bool init_own() override;

private:
    class Implementation;
};

} // namespace qv::application::initializer::components
