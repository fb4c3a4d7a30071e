#pragma once

namespace qv {

/// A `T` that a type of its own tells apart: a code unit, a sample. `maximum` is the largest value that has a
/// meaning; nothing is tested or added at run time.
template <class T, T first, T second, T largest, T last> class Scalar_wrapper {
public:
    using Value = T;
    static constexpr T maximum = largest;

    constexpr Scalar_wrapper() noexcept = default;
    constexpr Scalar_wrapper(T value) noexcept
        : value_(value)
    {}
    constexpr operator T() const noexcept { return value_; }

private:
    T value_{};
};

} // namespace qv
