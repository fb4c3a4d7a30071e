#pragma once

#include <cstdint>
#include <string>

namespace qv::can_bus::bus::properties {

inline constexpr const char* title_default = "CAN bus";

/// The configuration of a bus.
struct Properties {
    std::uint32_t request_count_maximum = 3; ///< requests for the claim of an unknown sender, for each address
    std::uint32_t time_threshold = 1000;     ///< milliseconds between two such requests
    std::uint32_t node_timeout = 3600000;    ///< milliseconds
    bool detail_manager_enabled = true;      ///< ask each new node who it is
    bool pdu_log_annotate = false;           ///< the log of PDUs tells what their bytes mean
    bool pdu_log_enabled = false;
    bool pdu_trace = false;                   ///< write each PDU to the standard output
    bool receive_transmitted_messages = true; ///< the stack hears what it sends
    std::string title = title_default;
};

/// Reads all keys below the node "can_bus" of the primary configuration; a missing key is created with its
/// default. Without a configuration all have their defaults.
Properties read();

} // namespace qv::can_bus::bus::properties
