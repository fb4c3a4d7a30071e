#pragma once

#include <string>

#include "can/network/pdu/name.h"

namespace qv::can_bus::flr {

/// A NAME as hexadecimal digits, most significant byte first, its halves separated by a blank.
std::string name_text(name::Name name);

} // namespace qv::can_bus::flr
