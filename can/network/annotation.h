#pragma once

#include <string>

#include "can/network/pdu/pdu.h"

namespace qv::can_bus::pdu {

/// What the bytes of a PDU mean, to stand behind its line in the log: address claims [ISO 11783-5 4.4.2], working
/// set masters [ISO 11783-7], messages between an ECU and a Virtual Terminal [ISO 11783-6], and process data
/// [ISO 11783-10]. Empty for every other group.
///
/// Of a PDU that is too short it tells the kind alone, and of an empty one nothing. Text from the bus has "." for
/// each byte below 32; names of manufacturers are UTF-8.
std::string annotation(const PDU& pdu);

} // namespace qv::can_bus::pdu
