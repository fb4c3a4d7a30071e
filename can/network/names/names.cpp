#include "can/network/names/names.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <system_error>

#include "can/network/names/device_class_table.h"
#include "can/network/names/function_table.h"
#include "can/network/names/manufacturer_table.h"
#include "can/network/names/vt_function_table.h"

namespace qv::can_bus::names {

namespace {

constexpr std::uint32_t agriculture = 2;
constexpr std::uint32_t first_function_of_class = 128;

static_assert(is_sorted_and_unique(table::industry_groups));
static_assert(is_sorted_and_unique(table::device_classes));
static_assert(is_sorted_and_unique(table::common_functions));
static_assert(is_sorted_and_unique(table::agriculture_functions));
static_assert(is_sorted_and_unique(table::manufacturers));
static_assert(is_sorted_and_unique(table::ecu_to_vt_functions));
static_assert(is_sorted_and_unique(table::vt_to_ecu_functions));
static_assert(std::size(table::ecu_to_vt_functions) == 69 && std::size(table::vt_to_ecu_functions) == 69);

constexpr std::array process_data_commands{
    "technical_data",
    "device description",
    "value request",
    "value",
    "measurement time",
    "measurement distance",
    "measurement threshold minimum",
    "measurement threshold maximum",
    "measurement threshold change",
    "peer control assignment",
    "value and acknowledge",
    "reserved",
    "none",
    "acknowledge",
    "tc status",
    "client task",
};
static_assert(process_data_commands.size() == 16);

struct Device_class_text {
    std::string_view text;
    std::uint32_t device_class;
};

/// Texts beside the numbers and names of the table.
constexpr std::array<Device_class_text, 3> device_class_texts{{
    {"transport", 11},
    {"trailer", 11},
    {"auto", device_class_auto},
}};

/// Digits alone, without leading zeros.
std::optional<std::uint32_t> device_class_from_digits(std::string_view text)
{
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    const bool canonical = text == "0" || !text.starts_with('0');
    return whole && canonical && number < std::size(table::device_classes) ? std::optional(number) : std::nullopt;
}

} // namespace

const char* industry_group(std::uint32_t industry_group)
{
    return find(table::industry_groups, industry_group, "industry group unknown");
}

const char* device_class(std::uint32_t industry_group, std::uint32_t device_class)
{
    if (industry_group == 0) {
        return device_class == 0 ? "non-specific" : "";
    }
    constexpr const char* unknown = "device class unknown";
    return industry_group == agriculture ? find(table::device_classes, device_class, unknown) : unknown;
}

const char* function(std::uint32_t industry_group, std::uint32_t device_class, std::uint32_t function)
{
    if (function < first_function_of_class) {
        return find(table::common_functions, function);
    }
    if (industry_group != agriculture) {
        return "";
    }
    return find(table::agriculture_functions, device_class << 8 | function, "agriculture, function unknown");
}

const char* manufacturer(std::uint32_t code) { return find(table::manufacturers, code); }

const char* ecu_to_vt_function(std::uint32_t code) { return find(table::ecu_to_vt_functions, code); }

const char* vt_to_ecu_function(std::uint32_t code) { return find(table::vt_to_ecu_functions, code); }

const char* process_data_command(std::uint32_t command)
{
    return command < process_data_commands.size() ? process_data_commands[command] : "invalid";
}

std::optional<std::uint32_t> device_class_from_text(std::string_view text)
{
    if (const auto row = std::ranges::find(table::device_classes, text, &Row::name);
        row != std::end(table::device_classes)) {
        return row->key;
    }
    if (const auto row = std::ranges::find(device_class_texts, text, &Device_class_text::text);
        row != device_class_texts.end()) {
        return row->device_class;
    }
    return device_class_from_digits(text);
}

} // namespace qv::can_bus::names
