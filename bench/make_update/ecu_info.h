#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace bench::update {

/// Something in an ECU info that does not do what its author wanted.
struct Ecu_info_problem {
    std::size_t place; ///< in the text, of the entry that has it
    std::string words;
};

/// Looks through "Key,value,value*Key,value*" for what would let the file fit other ECUs than it seems to.
[[nodiscard]] std::vector<Ecu_info_problem> find_problems(std::string_view ecu_info);

} // namespace bench::update
