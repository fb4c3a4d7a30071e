#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "can/hardware/bus.h"
#include "framework/socket/socket.h"

namespace qv::can_bus::hardware::device::router {

/// A device that shares a CAN bus with other programs: it exchanges frames with a CAN router over TCP.
///
/// Two threads do the socket work. They meet this object only through the client's dispatcher, so the list of
/// received frames belongs to the bus thread alone. `write` succeeds without a connection too; such a frame is
/// lost. Thread: the bus thread.
class Bus_router final : public Bus {
public:
    Bus_router(socket::Address address, std::uint16_t port, bool logging, bool connection_logging);
    ~Bus_router() override;

    std::string description() const override;
    void close() override;
    /// Whether the client runs; the connection may stand or not.
    bool is_open() const override;
    bool open() override;
    bool read(Message& message) override;
    /// Fetches what the receiver has read.
    void device_time_elapsed(std::uint32_t elapsed) override;
    bool write(std::uint32_t id, const std::uint8_t* data, std::uint32_t length, std::uint8_t reserved) override;
    bool has_frame() const override;

    class Private_implementation;

private:
    std::unique_ptr<Private_implementation> implementation_;
    socket::Address address_;
    std::uint16_t port_;
    bool connection_logging_;
};

} // namespace qv::can_bus::hardware::device::router
