#pragma once

#include "can/hardware/bus.h"

namespace qv::can_bus::hardware {

/// A device without a bus: takes every frame and delivers none.
///
/// Thread: the bus thread.
class Bus_stub final : public Bus {
public:
    explicit Bus_stub(bool logging)
        : Bus("bus stub", logging)
    {}

    std::string description() const override { return "can stub"; }
    void close() override { open_ = false; }
    bool is_open() const override { return open_; }
    bool open() override { return open_ = true; }
    bool read(Message&) override { return false; }
    bool write(std::uint32_t, const std::uint8_t*, std::uint32_t, std::uint8_t) override { return true; }

private:
    bool open_ = false;
};

} // namespace qv::can_bus::hardware
