#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ctl {

/// One ECU of the service's list. The texts come from the bus and from files: they can hold any bytes.
struct Ecu {
    std::uint64_t name = 0; ///< [ISO 11783-5 4.3]; the control interface knows an ECU by it
    std::int32_t address = 0;
    std::string title;
    std::string current_version;
    std::string update_version;               ///< the preferred one; empty when none fits
    std::vector<std::string> update_versions; ///< all on offer
};

/// The ECU identification [ISO 11783-12, PGN 64965].
struct Identification {
    std::string part_number, revision, serial_number, location, type, manufacturer;
};

/// One field of the software identification [ISO 11783-12, PGN 65242].
struct Software {
    std::string label, part_number, version;
};

/// 16 hexadecimal digits.
std::string name_text(std::uint64_t name);
/// "0x80".
std::string address_text(std::int32_t address);

/// Those that `text` means: as NAME (16 hexadecimal digits, also with "0x", or a blank in the middle), as address
/// (decimal, or hexadecimal with "0x") or as title; if there are none, those whose title has `text` in it, in
/// capitals or not. Entries with one NAME are one ECU, as they are for the service. The result points into `ecus`.
std::vector<const Ecu*> matching_ecus(const std::vector<Ecu>& ecus, std::string_view text);

} // namespace ctl
