#include "service/ecu_info.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <optional>

#include "can/network/pdu/name.h"

namespace qv::can_bus::flr {

namespace {

constexpr std::string_view key_part_number = "ECU P/N";
constexpr std::string_view key_product_family = "Prod Fam";
constexpr std::string_view key_serial_number = "SN";

constexpr std::uint32_t product_family(name::Name ecu_name) noexcept { return name::field(ecu_name, 16, 5); }

struct Number_test {
    std::string_view key;
    std::uint32_t (*property)(name::Name);
};

// clang-format off
constexpr std::array number_tests = {
    Number_test{"IG",               &name::industry_group},
    Number_test{"MN",               &name::manufacturer_code},
    Number_test{"ECUi",             &name::ecu_instance},
    Number_test{"VSi",              &name::device_class_instance},
    Number_test{"FC",               &name::function},
    Number_test{"VS",               &name::device_class},
    Number_test{"Fi",               &name::function_instance},
    Number_test{key_product_family, &product_family},
};
// clang-format on

bool any_value(const Ecu_info_entry& entry, const std::function<bool(const std::string&)>& test)
{
    return entry.is_open() || std::any_of(entry.values.begin(), entry.values.end(),
                                          [&test](const auto& value) { return !value.empty() && test(value); });
}

bool holds_number(const Ecu_info_entry& entry, std::uint32_t property)
{
    return any_value(entry, [property](const std::string& value) {
        return std::strtoul(value.c_str(), nullptr, 10) == property;
    });
}

bool holds_part_number(const Ecu_info_entry& entry, const char* part_number)
{
    if (part_number == nullptr) {
        return true;
    }
    const std::string_view whole(part_number);
    const auto plain = whole.substr(0, whole.find(','));
    return any_value(entry, [plain](const std::string& value) { return plain.find(value) != plain.npos; });
}

bool holds(const Ecu_info_entry& entry, name::Name ecu_name, const char* part_number)
{
    if (entry.key == key_part_number) {
        return holds_part_number(entry, part_number);
    }
    const auto* test = std::find_if(number_tests.begin(), number_tests.end(),
                                    [&entry](const Number_test& row) { return row.key == entry.key; });
    return test == number_tests.end() || holds_number(entry, test->property(ecu_name));
}

/// The serial number is the identity number: all of it when the product family is left open, else the part
/// below the family.
bool serial_number_holds(const Ecu_info& info, name::Name ecu_name)
{
    const auto has_key = [](std::string_view key) {
        return [key](const Ecu_info_entry& entry) { return entry.key == key; };
    };
    const auto serial = std::find_if(info.begin(), info.end(), has_key(key_serial_number));
    if (serial == info.end()) {
        return true;
    }
    const bool family_unset = std::any_of(info.begin(), info.end(), [](const Ecu_info_entry& entry) {
        return entry.key == key_product_family && entry.is_open();
    });
    return holds_number(*serial, family_unset ? name::identity_number(ecu_name) : name::field(ecu_name, 0, 16));
}

/// The text up to `delimiter`, which is taken off `rest` with it; nothing when `rest` holds none.
std::optional<std::string_view> cut(std::string_view& rest, char delimiter)
{
    const auto end = rest.find(delimiter);
    if (end == rest.npos) {
        return std::nullopt;
    }
    const auto piece = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return piece;
}

Ecu_info_entry parse_entry(std::string_view text)
{
    Ecu_info_entry entry;
    const auto key = cut(text, ',');
    entry.key = key.value_or(text);
    while (key && entry.values.size() < Ecu_info_entry::value_limit) {
        const auto value = cut(text, ',');
        entry.values.emplace_back(value.value_or(text));
        if (!value) {
            break;
        }
    }
    return entry;
}

} // namespace

Ecu_info parse_ecu_info_text(std::string_view text)
{
    Ecu_info info;
    while (const auto entry = cut(text, '*')) {
        info.push_back(parse_entry(*entry));
    }
    return info;
}

bool fits(const Ecu_info& info, std::uint64_t name, const char* part_number)
{
    return !info.empty() && std::all_of(info.begin(), info.end(), [&](const Ecu_info_entry& entry) {
        return holds(entry, name, part_number);
    }) && serial_number_holds(info, name);
}

} // namespace qv::can_bus::flr
