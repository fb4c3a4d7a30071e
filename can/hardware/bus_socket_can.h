#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "can/hardware/bus.h"

namespace qv::can_bus::hardware {

/// A device on a SocketCAN interface, which is up already and has its bit rate.
///
/// A receive thread moves frames from the socket to a ring of 128; when the bus thread falls behind, the
/// newest survive. Thread: the bus thread.
class Bus_socket_can final : public Bus {
public:
    static constexpr std::uint32_t queue_capacity = 128;

    /// Empty when the ring cannot be allocated.
    static std::unique_ptr<Bus_socket_can> create(const std::string& device_name, bool logging);
    ~Bus_socket_can() override;

    /// "socket can @" and the interface, or that the initialization failed.
    std::string description() const override;
    void close() override;
    bool is_open() const override;
    bool open() override;
    bool read(Message& message) override;
    bool write(std::uint32_t id, const std::uint8_t* data, std::uint32_t length, std::uint8_t reserved) override;
    bool has_frame() const override;

    class Private_implementation;

private:
    Bus_socket_can(const std::string& device_name, bool logging,
                   std::unique_ptr<Private_implementation> implementation);

    std::unique_ptr<Private_implementation> implementation_;
};

} // namespace qv::can_bus::hardware
