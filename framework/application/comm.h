#pragma once

#include "framework/application/initializer.h"

namespace qv::application::initializer::comm {

/// The layer of messages: the comm core and its handlers.
class Comm final : public Initializer {
public:
    using Initializer::Initializer;
    bool init_own() override;

private:
    class Implementation;
};

} // namespace qv::application::initializer::comm
