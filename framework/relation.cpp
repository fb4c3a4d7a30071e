#include "framework/relation.h"

#include <algorithm>
#include <cmath>

namespace qv::relation {

namespace {

template <class Number> Result compare_within(Number a, Number b, Number epsilon)
{
    if (std::abs(a - b) < epsilon) {
        return equal;
    }
    return a < b ? less : greater;
}

template <class Number> Result compare_relative(Number a, Number b)
{
    constexpr Number smallest = comparison_epsilon_default;
    return compare_within(a, b, std::max(smallest, std::max(std::abs(a), std::abs(b)) * smallest));
}

template <class Number> Number round_with(Number value, Number half)
{
    return std::trunc(value > 0 ? value + half : value - half);
}

} // namespace

Result compare(float a, float b, float epsilon) noexcept { return compare_within(a, b, epsilon); }

Result compare(double a, double b, double epsilon) noexcept { return compare_within(a, b, epsilon); }

Result compare(float a, float b) noexcept { return compare_relative(a, b); }

Result compare(double a, double b) noexcept { return compare_relative(a, b); }

float round(float value, float half) noexcept { return round_with(value, half); }

double round(double value, double half) noexcept { return round_with(value, half); }

Result compare_bytes(const std::uint8_t* a, const std::uint8_t* b, std::size_t size) noexcept
{
    if (a == nullptr || b == nullptr) {
        return none;
    }
    while (size-- > 0) {
        if (a[size] != b[size]) {
            return a[size] < b[size] ? less : greater;
        }
    }
    return equal;
}

} // namespace qv::relation
