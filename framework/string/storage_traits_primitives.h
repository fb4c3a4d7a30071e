#pragma once

#include <array>
#include <cstddef>

#include "framework/string/code_point.h"

/// How one code point is read and written in each encoding.
///
/// `read` moves `position` behind the code point that it reads, `read_back` moves it back by one and reads there;
/// neither leaves the units between `position` and the limit that it was given. `write` puts a code point to
/// `out`, which has room for `longest` units, and answers their count: 0 when the encoding has no form for it.
namespace qv::string::internal {

template <class Unit> class Storage_traits_base {
public:
    using Code_unit = Unit;
};

/// Every byte stands for itself. What ASCII lacks becomes "?", but the thin space of digit groups a blank.
class Storage_traits_primitives_ascii : public Storage_traits_base<Ascii_unit> {
public:
    static constexpr std::size_t longest = 1;

    static Code_point read(const Ascii_unit*& position, const Ascii_unit*) noexcept { return *position++; }
    static Code_point read_back(const Ascii_unit*& position, const Ascii_unit*) noexcept { return *--position; }
    static std::size_t write(Code_point code_point, Ascii_unit* out) noexcept
    {
        if (code_point == thin_space) {
            code_point = ' ';
        }
        const bool known = code_point >= 0 && code_point <= Ascii_unit::maximum;
        *out = static_cast<unsigned char>(known ? code_point : replacement);
        return 1;
    }
};

/// UTF-8 by its lead byte [ISO/IEC 10646 9.2]; continuation bytes are taken as they come. A continuation byte in
/// lead position, a lead byte that no form begins with, and a sequence cut short by the end read as 0 and stay
/// where they are: the text ends there.
class Storage_traits_primitives_utf_8 : public Storage_traits_base<Utf_8_unit> {
public:
    static constexpr std::size_t longest = 4;

    static Code_point read(const Utf_8_unit*& position, const Utf_8_unit* end) noexcept;
    static Code_point read_back(const Utf_8_unit*& position, const Utf_8_unit* begin) noexcept;
    static std::size_t write(Code_point code_point, Utf_8_unit* out) noexcept
    {
        if (code_point < 0 || code_point > 0x7F) {
            return write_sequence(code_point, out);
        }
        *out = static_cast<unsigned char>(code_point); // nearly all text is ASCII
        return 1;
    }

private:
    static std::size_t write_sequence(Code_point code_point, Utf_8_unit* out) noexcept;
};

/// UTF-16 with surrogate pairs [ISO/IEC 10646 9.3]. A high surrogate takes the unit behind it; a low one that
/// stands alone, and a high one at the end, read as 0. A surrogate's own number can't be written.
class Storage_traits_primitives_utf_16 : public Storage_traits_base<Utf_16_unit> {
public:
    static constexpr std::size_t longest = 2;

    static Code_point read(const Utf_16_unit*& position, const Utf_16_unit* end) noexcept;
    static Code_point read_back(const Utf_16_unit*& position, const Utf_16_unit* begin) noexcept;
    static std::size_t write(Code_point code_point, Utf_16_unit* out) noexcept;
};

/// One unit is one code point; only a negative number can't be written.
class Storage_traits_primitives_utf_32 : public Storage_traits_base<Utf_32_unit> {
public:
    static constexpr std::size_t longest = 1;

    static Code_point read(const Utf_32_unit*& position, const Utf_32_unit*) noexcept { return *position++; }
    static Code_point read_back(const Utf_32_unit*& position, const Utf_32_unit*) noexcept { return *--position; }
    static std::size_t write(Code_point code_point, Utf_32_unit* out) noexcept
    {
        *out = code_point;
        return code_point >= 0 ? 1 : 0;
    }
};

} // namespace qv::string::internal
