#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <span>

namespace qv::can_bus::names {

/// A number and its name. Tables of rows are sorted by the number, which stands in one row only.
struct Row {
    std::uint32_t key;
    const char* name; ///< UTF-8, never null
};

constexpr bool is_sorted_and_unique(std::span<const Row> table)
{
    return std::ranges::adjacent_find(table, std::greater_equal(), &Row::key) == table.end();
}

/// The name of `key` by bisection; `otherwise` when the table has no such row.
constexpr const char* find(std::span<const Row> table, std::uint32_t key, const char* otherwise = "")
{
    const auto row = std::ranges::lower_bound(table, key, {}, &Row::key);
    return row != table.end() && row->key == key ? row->name : otherwise;
}

} // namespace qv::can_bus::names
