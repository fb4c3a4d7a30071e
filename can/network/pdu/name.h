#pragma once

#include <cstdint>
#include <span>

namespace qv::can_bus::name {

/// The 64-bit identity of a control function [ISO 11783-5 4.3]. On the wire least significant byte first.
using Name = std::uint64_t;

constexpr std::uint32_t field(Name name, unsigned first_bit, unsigned width) noexcept
{
    return static_cast<std::uint32_t>((name >> first_bit) & ((std::uint64_t{1} << width) - 1));
}

constexpr std::uint32_t identity_number(Name name) noexcept { return field(name, 0, 21); }
constexpr std::uint32_t manufacturer_code(Name name) noexcept { return field(name, 21, 11); }
constexpr std::uint32_t ecu_instance(Name name) noexcept { return field(name, 32, 3); }
constexpr std::uint32_t function_instance(Name name) noexcept { return field(name, 35, 5); }
constexpr std::uint32_t function(Name name) noexcept { return field(name, 40, 8); }
constexpr std::uint32_t device_class(Name name) noexcept { return field(name, 49, 7); }
constexpr std::uint32_t device_class_instance(Name name) noexcept { return field(name, 56, 4); }
constexpr std::uint32_t industry_group(Name name) noexcept { return field(name, 60, 3); }
constexpr std::uint32_t self_configurable(Name name) noexcept { return field(name, 63, 1); }

/// The values of a NAME; each is cut to its width by `compose`.
struct Fields {
    std::uint32_t identity_number = 0;
    std::uint32_t manufacturer_code = 0;
    std::uint32_t ecu_instance = 0;
    std::uint32_t function_instance = 0;
    std::uint32_t function = 0;
    std::uint32_t device_class = 0;
    std::uint32_t device_class_instance = 0;
    std::uint32_t industry_group = 0;
    std::uint32_t self_configurable = 0;
};

constexpr Name compose(const Fields& fields) noexcept
{
    const auto place = [](std::uint32_t value, unsigned first_bit, unsigned width) {
        return (std::uint64_t{value} & ((std::uint64_t{1} << width) - 1)) << first_bit;
    };
    return place(fields.identity_number, 0, 21) | place(fields.manufacturer_code, 21, 11) |
           place(fields.ecu_instance, 32, 3) | place(fields.function_instance, 35, 5) |
           place(fields.function, 40, 8) | place(fields.device_class, 49, 7) |
           place(fields.device_class_instance, 56, 4) | place(fields.industry_group, 60, 3) |
           place(fields.self_configurable, 63, 1);
}

/// From the 8 bytes of an address claim; `bytes` has at least 8.
constexpr Name from_bytes(std::span<const std::uint8_t> bytes) noexcept
{
    Name name = 0;
    for (unsigned index = 0; index < 8; ++index) {
        name |= Name{bytes[index]} << (8 * index);
    }
    return name;
}

} // namespace qv::can_bus::name
