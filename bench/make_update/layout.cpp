#include "bench/make_update/layout.h"

#include <algorithm>
#include <iterator>

namespace bench::update {

bool Layout::define(std::size_t index, Sector sector, std::string& problem)
{
    if (index == 0 && tables_.size() == table_limit) {
        problem = "begins a table of sectors too many; " + std::to_string(table_limit) + " are the limit";
    } else if (index != 0 && tables_.empty()) {
        problem = "defines a sector before sector 0, which begins a table";
    } else if (index >= sector_limit) {
        problem = "defines sector " + std::to_string(index) + "; 255 is the last";
    } else {
        if (index == 0) {
            tables_.emplace_back();
        }
        auto& place = tables_.back()[index];
        place.defined = true;
        place.sector = sector;
        problem = sector.end < sector.start ? "defines a sector that ends before it begins" : "";
        return problem.empty();
    }
    return false;
}

/// The first sector that holds the line and two bytes more is erased; if there is none, the first two with
/// neighbouring indices that do so between them. A line at the very end of the memory may thus mark nothing.
void Layout::mark(std::uint32_t address, std::size_t size)
{
    const auto limit = std::uint64_t{address} + size;
    const auto hold = [address, limit](const Place& first, const Place& last) {
        return first.defined && last.defined && first.sector.start <= address && last.sector.end > limit;
    };
    for (auto& table : tables_) {
        const auto place =
            std::find_if(table.begin(), table.end(), [hold](const Place& each) { return hold(each, each); });
        if (place != table.end()) {
            place->erased = true;
            return;
        }
    }
    for (auto& table : tables_) {
        const auto place = std::adjacent_find(table.begin(), table.end(), hold);
        if (place != table.end()) {
            place->erased = true;
            std::next(place)->erased = true;
            return;
        }
    }
}

template <class Wanted>
std::optional<std::uint32_t> Layout::first_without(std::uint32_t address, std::size_t size, Wanted wanted) const
{
    const auto end = std::uint64_t{address} + size;
    const auto end_of_holder = [&](std::uint64_t byte) {
        for (const auto& table : tables_) {
            for (const auto& place : table) {
                if (wanted(place) && place.sector.start <= byte && byte <= place.sector.end) {
                    return std::uint64_t{place.sector.end} + 1;
                }
            }
        }
        return byte;
    };
    for (std::uint64_t byte = address; byte < end;) {
        const auto next = end_of_holder(byte);
        if (next == byte) {
            return static_cast<std::uint32_t>(byte);
        }
        byte = next;
    }
    return std::nullopt;
}

std::optional<std::uint32_t> Layout::first_outside(std::uint32_t address, std::size_t size) const
{
    return first_without(address, size, [](const Place& place) { return place.defined; });
}

std::optional<std::uint32_t> Layout::first_not_erased(std::uint32_t address, std::size_t size) const
{
    return first_without(address, size, [](const Place& place) { return place.erased; });
}

std::vector<Sector> Layout::sectors() const
{
    std::vector<Sector> result;
    for (const auto& table : tables_) {
        for (const auto& place : table) {
            if (place.defined) {
                result.push_back(place.sector);
            }
        }
    }
    return result;
}

} // namespace bench::update
