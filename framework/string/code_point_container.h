#pragma once

#include <cstddef>
#include <vector>

#include "framework/string/code_point.h"

namespace qv::string {

/// A growable array of code points, with room for a line of text at once. Grows as a `std::vector` does, and
/// throws as one when memory ends.
class Code_point_container {
public:
    Code_point_container() { code_points_.reserve(reserved); }

    void append(Code_point code_point) { code_points_.push_back(code_point); }
    void append(std::size_t count, Code_point code_point)
    {
        code_points_.insert(code_points_.end(), count, code_point);
    }
    template <class Iterator> void append(Iterator first, Iterator last)
    {
        code_points_.insert(code_points_.end(), first, last);
    }

    std::size_t size() const noexcept { return code_points_.size(); }
    bool empty() const noexcept { return code_points_.empty(); }
    Code_point operator[](std::size_t index) const noexcept { return code_points_[index]; }
    auto begin() const noexcept { return code_points_.begin(); }
    auto end() const noexcept { return code_points_.end(); }

private:
    static constexpr std::size_t reserved = 64;

    std::vector<Code_point> code_points_;
};

} // namespace qv::string
