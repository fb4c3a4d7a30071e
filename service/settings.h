#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "can/network/ecu/properties.h"
#include "can/network/pdu/name.h"

namespace qv::can_bus::flr {

/// What the service takes from the terminal for its own identity on the bus.
struct Identity {
    std::string serial; ///< decimal digits; may be empty
    std::string part_number;
    std::uint32_t platform_code = 0; ///< product family
};

/// The service's own settings, below the node "Flintrow" of the primary configuration.
struct Settings {
    bool log = false;                             ///< open a log source
    name::Name name = 0;                          ///< NAME of the service's own ECU
    ecu::properties::Properties ecu_properties;   ///< handed to the bus with the NAME
    std::uint32_t source_address_preferred = 249; ///< which the own ECU claims first
    std::uint16_t rpc_port = 9091;                ///< of the user interface; 0 is any free one
    std::uint32_t vt_function_instance = 0;       ///< of the preferred terminal
    std::string vt_pool_path;                     ///< folder of the object pool
};

/// Whether the configuration wants an update service; without a configuration it does not.
bool is_enabled();
/// Reads all keys; a missing one is created with its default. Empty without a configuration.
std::optional<Settings> read_settings(const Identity& identity);

} // namespace qv::can_bus::flr
