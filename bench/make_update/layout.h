#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bench::update {

struct Sector {
    std::uint32_t start; ///< first byte
    std::uint32_t end;   ///< last byte
};

/// The sectors that an update file defines, table after table, and which of them the service erases for its data.
class Layout {
public:
    static constexpr std::size_t table_limit = 64;
    static constexpr std::size_t sector_limit = 256; ///< of a table

    /// Index 0 begins a table, any other belongs to the last one; an index that comes again replaces its sector.
    /// False, and `problem` set, when there is no place for it.
    [[nodiscard]] bool define(std::size_t index, Sector sector, std::string& problem);
    /// A line of data stands behind what was defined so far: marks the sectors that are erased for it.
    void mark(std::uint32_t address, std::size_t size);

    /// The first of so many bytes that lies in no sector.
    [[nodiscard]] std::optional<std::uint32_t> first_outside(std::uint32_t address, std::size_t size) const;
    /// The first of so many bytes that lies in no sector that is erased.
    [[nodiscard]] std::optional<std::uint32_t> first_not_erased(std::uint32_t address, std::size_t size) const;
    /// All of them, in the order of their tables and indices.
    [[nodiscard]] std::vector<Sector> sectors() const;

private:
    struct Place {
        bool defined = false;
        bool erased = false;
        Sector sector{};
    };

    template <class Wanted>
    std::optional<std::uint32_t> first_without(std::uint32_t address, std::size_t size, Wanted wanted) const;

    std::vector<std::array<Place, sector_limit>> tables_;
};

} // namespace bench::update
