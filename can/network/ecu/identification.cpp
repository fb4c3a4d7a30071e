#include "can/network/ecu/identification.h"

#include <initializer_list>
#include <string_view>

#include "can/network/node/manager.h"

namespace qv::can_bus::ecu::identification {

namespace {

constexpr std::uint32_t first_year = 2000;
constexpr std::uint8_t certification_marks = 0x80; ///< byte 5; bytes 3 and 4 have none

std::string text_of(std::initializer_list<std::string_view> fields)
{
    std::string text;
    for (const std::string_view field : fields) {
        text += field;
        text += diagnostic::information_delimiter;
    }
    return text;
}

std::string serial_number(name::Name ecu_name) { return std::to_string(name::identity_number(ecu_name)); }

/// `count` bits of `value` from bit `first` on, moved up to bit `place`.
constexpr std::uint32_t bits(std::uint32_t value, unsigned first, unsigned count, unsigned place)
{
    return ((value >> first) & ((1U << count) - 1U)) << place;
}

} // namespace

std::string component(const properties::Properties& properties, name::Name ecu_name)
{
    return text_of({"", properties.model_name, serial_number(ecu_name), properties.part_number});
}

std::string ecu(const properties::Properties& properties, name::Name ecu_name)
{
    return text_of({properties.part_number, serial_number(ecu_name), properties.location, properties.type,
                    properties.manufacturer_name, properties.hardware_version});
}

std::string product(const properties::Properties& properties)
{
    return text_of({properties.code, properties.brand, properties.model_name});
}

std::array<std::uint8_t, 8> compliance_certification(const properties::Properties& properties)
{
    const std::uint32_t revision = properties.certification_revision;
    const std::uint32_t laboratory = properties.certification_laboratory_id;
    const std::uint32_t type = properties.certification_laboratory_type;
    const std::uint32_t reference = properties.certification_reference_number;
    const auto byte = [](std::uint32_t value) { return static_cast<std::uint8_t>(value); };
    return {
        byte(bits(revision, 0, 2, 6) | bits(properties.certification_year - first_year, 0, 6, 0)),
        byte(bits(laboratory, 0, 3, 5) | bits(revision, 3, 2, 3) | bits(type, 0, 2, 1) | bits(revision, 2, 1, 0)),
        byte(bits(laboratory, 3, 8, 0)),
        0,
        0,
        certification_marks,
        byte(reference),
        byte(reference >> 8)};
}

} // namespace qv::can_bus::ecu::identification
