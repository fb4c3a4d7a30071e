#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "can/hardware/bus.h"
#include "config/node.h"

namespace qv::config {

/// The settings of the CAN bus: the node "can_bus".
class CAN_bus : public node::Node_key_list {
public:
    struct Default {
        static constexpr const char* type = "none";
        static constexpr const char* device_name = "/dev/can0";
    };

    /// `configuration` may be null; all settings then have their defaults.
    explicit CAN_bus(Configuration* configuration);
};

/// The settings of the connection to a CAN router: the node "ip" below that of the device.
class CAN_bus_router_parameters final : public node::Node_key_list {
public:
    struct Default {
        static constexpr std::uint16_t port = 39767;
        static constexpr const char* address = "127.0.0.1";
    };

    explicit CAN_bus_router_parameters(const node::Node& device);

    bool logging();
    /// The default for a number that is no port.
    std::uint16_t port();
    std::string address();
};

} // namespace qv::config

namespace qv::can_bus::hardware::config {

/// The settings of the bus device: the node "can_bus", "hardware".
class Hardware final : public qv::config::CAN_bus {
public:
    explicit Hardware(qv::config::Configuration* configuration);

    std::string type();
    bool logging();
    std::string device_name();
};

} // namespace qv::can_bus::hardware::config

namespace qv::config {

/// One kind of bus device, by the name that the configuration gives it.
class CAN_bus_device {
public:
    virtual ~CAN_bus_device() = default;
    /// A device with these settings, not open yet. Empty on failure.
    virtual std::unique_ptr<can_bus::hardware::Bus> create(can_bus::hardware::config::Hardware& config) const = 0;
    virtual bool matches(std::string_view type) const = 0;
};

class CAN_bus_socket_can final : public CAN_bus_device {
public:
    std::unique_ptr<can_bus::hardware::Bus> create(can_bus::hardware::config::Hardware& config) const override;
    bool matches(std::string_view type) const override { return type == "socket can"; }
};

class CAN_bus_stub final : public CAN_bus_device {
public:
    std::unique_ptr<can_bus::hardware::Bus> create(can_bus::hardware::config::Hardware& config) const override;
    bool matches(std::string_view type) const override { return type == "none" || type == "stub"; }
};

class CAN_bus_router final : public CAN_bus_device {
public:
    std::unique_ptr<can_bus::hardware::Bus> create(can_bus::hardware::config::Hardware& config) const override;
    bool matches(std::string_view type) const override { return type == "router"; }
};

} // namespace qv::config

namespace qv::can_bus::hardware {

/// The device that the configuration names, not open yet. A type that no device bears gives a stub and a log
/// record, so that the system runs on, with an empty bus.
std::unique_ptr<Bus> create_hardware(config::Hardware& config);

} // namespace qv::can_bus::hardware
