#pragma once

#include <cstdint>

#include "can/network/ecu/properties.h"
#include "can/network/pdu/name.h"
#include "config/configuration.h"

/// Reads what a local ECU is from its node of the configuration. Missing keys are created with the defaults
/// given. With an empty node all values are the defaults, and nothing is created.
namespace qv::can_bus::ecu::configuration {

/// The node "name" has "serial_number", which is the identity number, "manufacturer_code", "ecu_instance" and
/// "function_instance"; all other fields are those of `defaults`.
name::Name read_name(config::Configuration& configuration, config::Object* ecu_node, const name::Fields& defaults);
properties::Properties read_properties(config::Configuration& configuration, config::Object* ecu_node,
                                       const properties::Properties& defaults);
/// Stores the four keys of the NAME, and "source_address_preferred" in the ECU's node. False when one of them
/// cannot be stored.
bool write_name(config::Configuration& configuration, config::Object* ecu_node, name::Name name,
                std::uint32_t source_address_preferred);

} // namespace qv::can_bus::ecu::configuration
