#pragma once

#include <cstdint>
#include <string>

#include "can/network/tp/ecu_port.h"

namespace qv::can_bus::ecu::properties {

/// The configuration of a local ECU, handed over by value with its NAME.
struct Properties {
    static constexpr const char* not_available_string = "-";

    tp::Limits tp;
    std::uint32_t debug_timer_interval = 0; ///< milliseconds, 0 is off
    std::uint32_t certification_laboratory_id = 0;
    std::uint32_t certification_laboratory_type = 7;
    std::uint32_t certification_reference_number = 65535;
    std::uint32_t certification_revision = 3;
    std::uint32_t certification_year = 2016;
    std::uint32_t diagnostic_protocol = 0;
    std::string brand = not_available_string;
    std::string code = not_available_string;
    std::string hardware_version = not_available_string;
    std::string location = not_available_string;
    std::string manufacturer_name = not_available_string;
    std::string model_name = not_available_string;
    std::string part_number = not_available_string;
    std::string type = not_available_string;
};

} // namespace qv::can_bus::ecu::properties
