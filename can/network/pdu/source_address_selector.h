#pragma once

#include <cstdint>

namespace qv::can_bus::source_address {

/// Decides whom a request processor answers, by source address. This one answers everybody.
class Selector {
public:
    virtual ~Selector() = default;
    virtual bool accepts(std::uint32_t source_address) const;
};

} // namespace qv::can_bus::source_address
