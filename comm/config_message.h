#pragma once

#include "comm/message.h"

namespace qv::comm::message::config {

/// The configuration differs from its file. Posted by the configuration to the primary dispatcher.
class Changed final : public Cloneable<Changed> {
public:
    static constexpr Id id = 0x400DD;
    Changed() noexcept
        : Cloneable<Changed>(id)
    {}
};

} // namespace qv::comm::message::config
