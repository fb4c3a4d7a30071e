#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "can/network/node/node.h"
#include "service/hex_parser.h"
#include "service/zip_parser.h"

namespace qv::can_bus::flr {

/// One field of a software identification.
struct Software_id {
    std::string label; ///< "BLD" marks a bootloader, "APP" or "TV0001" the application
    std::string part_number;
    std::string version;
};

/// The update files that fit an ECU.
struct Matches {
    bool empty() const noexcept { return hex_matches.empty() && zip_matches.empty(); }

    std::vector<std::shared_ptr<const HexParser>> hex_matches; ///< images
    std::vector<std::shared_ptr<const ZipParser>> zip_matches; ///< packages for a wireless node
    /// What they were chosen from; another one asks for another choice. Null before the first.
    std::shared_ptr<const void> origin;
};

/// An ECU that claimed an address on the bus, with what it told about itself and the updates that fit it.
///
/// Texts end before their first NUL. Thread: whichever makes it. In the inventory it is shared and does not change
/// any more; a change puts another in its place.
struct Programmable_item {
    static constexpr std::size_t software_id_limit = 16;

    Programmable_item(std::uint32_t source_address, name::Name ecu_name, std::shared_ptr<node::Node> ecu_node);

    /// Takes over an ECU identification [ISO 11783-12 A.2]: fields ended by "*", of which the first five count.
    void set_ecu_identification(std::string_view text);
    /// Takes over a software identification [ISO 11783-12 A.3] from behind its count: fields ended by "*",
    /// with subfields separated by ",". Text behind the last "*" is dropped, and fields behind the sixteenth.
    /// A bootloader among them makes the ECU visible, unless its NAME is one of the hidden ones.
    void set_software_identification(std::string_view text);
    /// The index of the first record of an application; 0 without one.
    std::size_t application_software_index() const;
    /// The version of the record at that index.
    const std::string& application_version() const;

    std::int32_t address; ///< source address; the key of the list
    name::Name name;      ///< from the address claim
    std::string title;    ///< at most 13 characters, for a line of a small display
    std::string long_title;
    std::string current_version; ///< of the running application
    std::string update_version;  ///< newest among the fitting files; empty when none fits
    bool hidden = true;
    std::string part_number;
    std::string revision; ///< stays empty
    std::string serial_number;
    std::string location;
    std::string type;
    std::string manufacturer;
    std::array<Software_id, software_id_limit> software_ids;
    std::uint8_t software_id_count = 0;
    std::shared_ptr<const Matches> matches = std::make_shared<Matches>(); ///< never null
    std::string host; ///< of the wireless node before this ECU; empty when unknown
    std::shared_ptr<node::Node> node;

private:
    void set_titles();
};

/// Cuts `text` at each `separator`; empty fields stay, and so does the rest behind the last one. Fields
/// behind the first `limit` are dropped.
std::vector<std::string> split(std::string_view text, char separator, std::size_t limit);

} // namespace qv::can_bus::flr
