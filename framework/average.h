#pragma once

#include <cstdint>

#include "framework/scalar_wrapper.h"

namespace qv::math {

template <class Sample, class Sum> class Average_interface {
public:
    virtual ~Average_interface() = default;
    virtual void add(Sample value) = 0;
    virtual Sample average() const = 0;
    virtual bool has_samples() const = 0;
    virtual void clear() = 0;
};

/// The mean of unsigned samples, rounded to the nearest; 0 without samples.
///
/// Thread: one at a time.
template <class Sample, class Sum> class Average : public Average_interface<Sample, Sum> {
public:
    void add(Sample value) override
    {
        sum_ = sum_ + value;
        ++count_;
    }

    Sample average() const override
    {
        if (count_ < 2) {
            return sum_; // 0, or the one sample
        }
        const std::uint64_t rounded = (std::uint64_t{sum_} + count_ / 2) / count_;
        return static_cast<typename Sample::Value>(rounded);
    }

    bool has_samples() const override { return count_ != 0; }

    void clear() override
    {
        sum_ = 0;
        count_ = 0;
    }

    std::uint32_t count() const noexcept { return count_; }

private:
    std::uint32_t count_ = 0;
    Sum sum_ = 0;
};

using Unsigned_sample = Scalar_wrapper<unsigned int, 0, 0, 4294967295U, 0>;

} // namespace qv::math
