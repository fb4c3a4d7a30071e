#pragma once

#include <cstddef>
#include <cstdint>

namespace qv::relation {

/// The result codes of a comparison.
enum Result : int {
    none = 0,
    equal = 1,
    less = 2, ///< the first is less
    greater = 3,
};

inline constexpr float comparison_epsilon_default = 0x1p-20F;

/// Numbers that differ by less than `epsilon` are equal.
Result compare(float a, float b, float epsilon) noexcept;
Result compare(double a, double b, double epsilon) noexcept;
/// With an `epsilon` that grows with the numbers, and is never below the default.
Result compare(float a, float b) noexcept;
Result compare(double a, double b) noexcept;

/// The result with the sides exchanged; `none` for anything that is no result.
constexpr Result inverse(int result) noexcept
{
    switch (result) {
        case equal: return equal;
        case less: return greater;
        case greater: return less;
        default: return none;
    }
}

/// Adds `half` away from zero and cuts the fraction off: with 0.5 the nearest whole number.
float round(float value, float half) noexcept;
double round(double value, double half) noexcept;

/// Compares two little-endian numbers of `size` bytes; `none` when either pointer is null.
Result compare_bytes(const std::uint8_t* a, const std::uint8_t* b, std::size_t size) noexcept;

} // namespace qv::relation
