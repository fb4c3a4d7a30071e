#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace qv::can_bus::flr {

/// How a node says that an installation stands. A key that its reply doesn't have, or has with another type,
/// leaves its member empty or 0.
struct Install_status {
    std::int32_t version = 0;
    std::string state;
    std::string progress; ///< percent, a decimal number
    std::string error;    ///< a decimal number, 0 when all is well

    /// The node has done all it does before its restart.
    [[nodiscard]] bool is_final() const { return state == "rebooting" || state == "complete"; }
};

/// Reads the reply to a status request: a JSON object, perhaps with a page of mark-up behind it. Prints what it
/// finds. Nothing when there is no such object.
[[nodiscard]] std::optional<Install_status> parse_install_status(std::string reply);

/// The number at the beginning of a text, 0 without one; beyond 32 bits it is the nearest that fits.
[[nodiscard]] std::int32_t decimal_value(const std::string& text);

} // namespace qv::can_bus::flr
