#include "can/hardware/config.h"

#include <arpa/inet.h>

#include "can/hardware/bus_router.h"
#include "can/hardware/bus_socket_can.h"
#include "can/hardware/bus_stub.h"
#include "config/label.h"
#include "framework/log/hook.h"
#include "framework/type_registry.h"

namespace qv::config {

namespace {

using Devices = type_registry::Registry<CAN_bus_device, CAN_bus_device* (*)()>;

/// The devices stand here, where they are asked for, and not in their own sources: an object file that nobody
/// refers to would be left out of the program, and its entry with it.
[[maybe_unused]] const bool devices_entered =
    Devices::instance().add(&type_registry::create<CAN_bus_socket_can, CAN_bus_device>) &&
    Devices::instance().add(&type_registry::create<CAN_bus_stub, CAN_bus_device>) &&
    Devices::instance().add(&type_registry::create<CAN_bus_router, CAN_bus_device>);

} // namespace

CAN_bus::CAN_bus(Configuration* configuration)
    : Node_key_list(configuration)
{
    append(label::can_bus);
    resolve();
}

CAN_bus_router_parameters::CAN_bus_router_parameters(const node::Node& device)
    : Node_key_list(device.configuration())
{
    append(label::ip);
    resolve(device.object());
}

bool CAN_bus_router_parameters::logging() { return get_boolean(label::logging, false); }

std::uint16_t CAN_bus_router_parameters::port()
{
    const std::uint32_t value = get_decimal(label::port, Default::port);
    return value != 0 && value <= UINT16_MAX ? static_cast<std::uint16_t>(value) : Default::port;
}

std::string CAN_bus_router_parameters::address() { return get_text(label::address, Default::address); }

std::unique_ptr<can_bus::hardware::Bus>
CAN_bus_socket_can::create(can_bus::hardware::config::Hardware& config) const
{
    return can_bus::hardware::Bus_socket_can::create(config.device_name(), config.logging());
}

std::unique_ptr<can_bus::hardware::Bus> CAN_bus_stub::create(can_bus::hardware::config::Hardware& config) const
{
    return std::make_unique<can_bus::hardware::Bus_stub>(config.logging());
}

std::unique_ptr<can_bus::hardware::Bus> CAN_bus_router::create(can_bus::hardware::config::Hardware& config) const
{
    CAN_bus_router_parameters ip(config);
    const std::string text = ip.address();
    in_addr_t address = ::inet_addr(text.c_str());
    if (address == INADDR_NONE) {
        log::write(2, 0, "invalid can ip server address %s", text.c_str());
    }
    return std::make_unique<can_bus::hardware::device::router::Bus_router>(address, ip.port(), config.logging(),
                                                                           ip.logging());
}

} // namespace qv::config

namespace qv::can_bus::hardware {

namespace config {

Hardware::Hardware(qv::config::Configuration* configuration)
    : CAN_bus(configuration)
{
    append(qv::config::label::hardware);
    resolve();
}

std::string Hardware::type() { return get_text(qv::config::label::type, Default::type); }

bool Hardware::logging() { return get_boolean(qv::config::label::logging, false); }

std::string Hardware::device_name() { return get_text(qv::config::label::device_name, Default::device_name); }

} // namespace config

std::unique_ptr<Bus> create_hardware(config::Hardware& config)
{
    const std::string type = config.type();
    for (const auto factory : qv::config::Devices::instance().factories()) {
        const std::unique_ptr<qv::config::CAN_bus_device> device(factory());
        auto bus = device->matches(type) ? device->create(config) : nullptr;
        if (bus) {
            return bus;
        }
    }
    log::write(2, 0, "unable to create hardware CAN bus %s", type.c_str());
    return std::make_unique<Bus_stub>(config.logging());
}

} // namespace qv::can_bus::hardware
