#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "can/network/ecu/properties.h"
#include "can/network/pdu/name.h"

/// What a local ECU says of itself: payloads made of its properties and its NAME.
///
/// The texts are fields that end with "*" each. A "*" within a property is not told apart from such an end.
namespace qv::can_bus::ecu::identification {

/// Make, which stays empty, model, serial number, and unit number [SAE J1939-71, PGN 65259].
std::string component(const properties::Properties& properties, name::Name ecu_name);
/// Part number, serial number, location, type, manufacturer, hardware version [ISO 11783-12, PGN 64965].
std::string ecu(const properties::Properties& properties, name::Name ecu_name);
/// Code, brand, model [ISO 11783-12, PGN 64653].
std::string product(const properties::Properties& properties);

/// Who has certified the ECU, when, and after which revision of the test [ISO 11783-7, PGN 64834]. Each value
/// is cut to its width.
std::array<std::uint8_t, 8> compliance_certification(const properties::Properties& properties);

} // namespace qv::can_bus::ecu::identification
