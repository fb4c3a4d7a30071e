#include "bench/simulated_ecu/identification.h"

#include "bench/simulated_ecu/pdu.h"

namespace bench::simulated {
namespace {

/// Each field ends with "*" [ISO 11783-12, SAE J1939-71].
std::vector<std::uint8_t> fields(std::initializer_list<std::string> texts)
{
    std::vector<std::uint8_t> bytes;
    for (const std::string& text : texts) {
        bytes.insert(bytes.end(), text.begin(), text.end());
        bytes.push_back('*');
    }
    return bytes;
}

/// The first byte counts the fields; the tool takes a field apart at the commas.
std::vector<std::uint8_t> software(const Identification& ecu)
{
    std::vector<std::uint8_t> bytes = fields(
        {"BLD," + ecu.part_number + "," + ecu.bootloader_version, "APP," + ecu.part_number + "," + ecu.version});
    bytes.insert(bytes.begin(), 2);
    return bytes;
}

std::vector<std::uint8_t> hardware(const Identification& ecu)
{
    std::vector<std::uint8_t> bytes =
        fields({ecu.part_number, ecu.serial_number, ecu.location, ecu.type, ecu.manufacturer});
    if (!ecu.hardware_version.empty()) {
        const std::vector<std::uint8_t> last = fields({ecu.hardware_version});
        bytes.insert(bytes.end(), last.begin(), last.end());
    }
    return bytes;
}

} // namespace

std::optional<std::vector<std::uint8_t>> Identification::answer(std::uint32_t pgn) const
{
    switch (pgn) {
        case pgn::ecu_identification: return hardware(*this);
        case pgn::software_identification: return software(*this);
        case pgn::component_identification: return fields({manufacturer, type, serial_number, location});
        case pgn::product_identification: return fields({part_number, manufacturer, type});
        default: return std::nullopt;
    }
}

} // namespace bench::simulated
