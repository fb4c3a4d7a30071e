#pragma once

#include <cstdint>

namespace qv::can_bus::flr {

/// The CAN interface as far as a session changes it: its bit rate, in bit/s.
class Can_interface {
public:
    virtual ~Can_interface() = default;
    virtual std::uint32_t getBitrate() const = 0;
    virtual void setBitrate(std::uint32_t value) = 0;
};

} // namespace qv::can_bus::flr
