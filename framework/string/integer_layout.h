#pragma once

#include <cstdint>

#include "framework/string/code_point_container.h"
#include "framework/string/specification.h"

/// Integers, laid out as: blanks, sign, prefix, zeros, digits, blanks.
namespace qv::string::internal::format {

/// What stands in front of a signed number; 0 for nothing.
constexpr char sign_of(const formatting::Specification& specification, bool negative) noexcept
{
    if (negative) {
        return '-';
    }
    switch (specification.sign) {
        case formatting::Sign::none: return 0;
        case formatting::Sign::blank: return ' ';
        case formatting::Sign::plus: return '+';
    }
    return 0;
}

/// `letter` is one of "diuoxXbBpP"; "d" and "i" take the lower half of `value` as a signed number. Only an address
/// has more than 32 bits.
void write_integer(Code_point_container& out, const formatting::Specification& specification, Code_point letter,
                   std::uint64_t value);

} // namespace qv::string::internal::format
