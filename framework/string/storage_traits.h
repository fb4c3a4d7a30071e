#pragma once

#include <algorithm>
#include <cstddef>

#include "framework/string/storage_traits_primitives.h"

/// How a storage steps from code point to code point, by encoding.
namespace qv::string::internal {

/// Every code point has one unit: an index is a distance.
template <class Primitives> class Storage_traits_linear : public Primitives {
public:
    using typename Primitives::Code_unit;

    static std::size_t count(const Code_unit* begin, const Code_unit* end) noexcept
    {
        return static_cast<std::size_t>(end - begin);
    }
    static const Code_unit* advance(const Code_unit* begin, const Code_unit* end, std::size_t index) noexcept
    {
        return begin + std::min(index, count(begin, end));
    }
};

/// A code point has one or more units: an index is walked from the start.
template <class Primitives> class Storage_traits_non_linear : public Primitives {
public:
    using typename Primitives::Code_unit;

    static const Code_unit* advance(const Code_unit* begin, const Code_unit* end, std::size_t index) noexcept
    {
        for (; index != 0 && begin != end; --index) {
            Primitives::read(begin, end);
        }
        return begin;
    }
};

/// What every encoding does alike, on top of its stepping.
template <class Stepping> class Storage_traits_common : public Stepping {
public:
    using typename Stepping::Code_unit;

    /// How many units the code points from `first` on need, as far as they can be written; `last_written` is moved
    /// behind the last one of these.
    template <class Iterator>
    static std::size_t units_needed(Iterator first, Iterator last, Iterator& last_written) noexcept
    {
        Code_unit scratch[Stepping::longest];
        std::size_t result = 0;
        for (; first != last; ++first) {
            const std::size_t units = Stepping::write(*first, scratch);
            if (units == 0) {
                break;
            }
            result += units;
        }
        last_written = first;
        return result;
    }
};

template <class Unit> class Storage_traits;

template <>
class Storage_traits<Ascii_unit>
    : public Storage_traits_common<Storage_traits_linear<Storage_traits_primitives_ascii>> {};
template <>
class Storage_traits<Utf_8_unit>
    : public Storage_traits_common<Storage_traits_non_linear<Storage_traits_primitives_utf_8>> {};
template <>
class Storage_traits<Utf_16_unit>
    : public Storage_traits_common<Storage_traits_non_linear<Storage_traits_primitives_utf_16>> {};
template <>
class Storage_traits<Utf_32_unit>
    : public Storage_traits_common<Storage_traits_linear<Storage_traits_primitives_utf_32>> {};

} // namespace qv::string::internal
