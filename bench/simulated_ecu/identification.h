#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bench::simulated {

/// What the ECU says about itself. Texts are ASCII without "*".
struct Identification {
    std::string part_number = "PN-1000";
    std::string serial_number = "100001";
    std::string location = "Frame";
    std::string type = "Simulated";
    std::string manufacturer = "Bench";
    std::string hardware_version; ///< sixth field of the ECU identification, left out when empty
    std::string bootloader_version = "1.0";
    std::string version = "1.0.0"; ///< of the application

    /// The answer to a request for this PGN; nothing for one that the ECU doesn't have. The address claim is not
    /// among them.
    [[nodiscard]] std::optional<std::vector<std::uint8_t>> answer(std::uint32_t pgn) const;
};

} // namespace bench::simulated
