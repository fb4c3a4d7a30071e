#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qv::can_bus::flr {

/// One condition of an update file: a property of an ECU and the values that it may have.
struct Ecu_info_entry {
    static constexpr std::size_t value_limit = 32;

    std::string key;
    std::vector<std::string> values; ///< at most `value_limit`; an empty one says nothing

    /// An empty first value switches the condition off.
    bool is_open() const noexcept { return values.empty() || values.front().empty(); }
};

/// The conditions of an update file, in the order of its text.
using Ecu_info = std::vector<Ecu_info_entry>;

/// Takes "Key,value,value*Key,value*" apart. Values beyond the thirty-second and text behind the last "*" are
/// dropped.
Ecu_info parse_ecu_info_text(std::string_view text);

/// Whether an ECU with this NAME [ISO 11783-5 4.3] and part number meets every condition. The part number may
/// be null when it is not known; conditions on it are then passed over. No conditions fit nobody.
bool fits(const Ecu_info& info, std::uint64_t name, const char* part_number);

} // namespace qv::can_bus::flr
