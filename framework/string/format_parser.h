#pragma once

#include <algorithm>
#include <initializer_list>
#include <string_view>

#include "framework/string/specification.h"

/// How a format is read, at run time by the collector and at compile time by the check of a literal. `Unit` is a
/// code point, or a `char` where only ASCII matters.
namespace qv::string::internal::format {

/// A conversion while it is read. A "*" interrupts the reading: its number comes as an argument of its own.
class Format_specification : public formatting::Specification {
public:
    /// Back to the defaults, but for `finished`.
    constexpr void begin() noexcept
    {
        const bool kept = finished;
        *this = Format_specification();
        finished = kept;
    }

    /// Reads on from `position`, behind the "%" or behind a "*", and moves it. Answers the conversion letter
    /// (whether it is one, the caller tests), "*" when a number has to be given by `take`, or 0 at the end.
    template <class Unit> constexpr Code_point read(const Unit*& position, const Unit* end) noexcept
    {
        if (part_ == Part::width) {
            read_flags(position, end);
            if (skips(position, end, '*')) {
                return '*';
            }
            width = read_number(position, end);
            part_ = Part::point;
        }
        if (part_ == Part::point) {
            part_ = Part::size;
            comma = skips(position, end, ',');
            if (comma || skips(position, end, '.')) {
                if (skips(position, end, '*')) {
                    part_ = Part::precision;
                    return '*';
                }
                precision = read_number(position, end);
            }
        }
        position += position != end && set_size(*position) ? 1 : 0;
        return position != end ? Code_point{*position++} : 0;
    }

    /// The argument of the "*" that `read` met.
    constexpr void take(std::uint32_t value) noexcept
    {
        const bool negative = value > 0x7FFFFFFF;
        if (part_ == Part::width) {
            right_justified = right_justified && !negative;
            width = negative ? 0 - value : value;
            part_ = Part::point;
        } else {
            precision = negative ? formatting::no_precision : value;
            part_ = Part::size;
        }
    }

private:
    /// What is read next.
    enum class Part { width, point, precision, size };

    template <class Unit> static constexpr bool skips(const Unit*& position, const Unit* end, char wanted) noexcept
    {
        const bool found = position != end && *position == wanted;
        position += found ? 1 : 0;
        return found;
    }

    /// A number too large counts as the largest signed one.
    template <class Unit>
    static constexpr std::uint32_t read_number(const Unit*& position, const Unit* end) noexcept
    {
        constexpr std::uint64_t largest = 0x7FFFFFFF;
        std::uint64_t result = 0;
        for (; position != end && *position >= '0' && *position <= '9'; ++position) {
            result = std::min(largest, result * 10 + static_cast<std::uint64_t>(*position - '0'));
        }
        return static_cast<std::uint32_t>(result);
    }

    template <class Unit> constexpr void read_flags(const Unit*& position, const Unit* end) noexcept
    {
        while (position != end && set_flag(*position)) {
            ++position;
        }
    }

    constexpr bool set_flag(Code_point letter) noexcept
    {
        switch (letter) {
            case ' ': sign = sign == formatting::Sign::plus ? sign : formatting::Sign::blank; return true;
            case '+': sign = formatting::Sign::plus; return true;
            case '-': right_justified = false; return true;
            case '#': return alternate = true;
            case '0': return zero_padded = true;
            case ':': return grouped = true;
            case ';': return semicolon = true;
            default: return false;
        }
    }

    constexpr bool set_size(Code_point letter) noexcept
    {
        switch (letter) {
            case 'Y': size = formatting::Size::byte; return true;
            case 'h':
            case 'H': size = formatting::Size::half; return true;
            case 'z':
            case 'W': size = formatting::Size::word; return true;
            case 'l':
            case 'Z': size = formatting::Size::longer; return true;
            default: return false;
        }
    }

    Part part_ = Part::width;
};

/// Hands the text in front of the next conversion to `on_text(first, last)`, with "%" for "%%", and moves
/// `position` behind the "%" of the conversion. False at the end of the format; a "%" there stays unread.
template <class Unit, class On_text>
constexpr bool next_conversion(const Unit*& position, const Unit* end, On_text on_text)
{
    while (true) {
        const Unit* const percent = std::find(position, end, Unit{'%'});
        const bool doubled = end - percent > 1 && percent[1] == '%';
        on_text(position, percent + (doubled ? 1 : 0));
        if (!doubled) {
            position = percent + (end - percent > 1 ? 1 : 0);
            return position != percent;
        }
        position = percent + 2;
    }
}

enum class Argument_kind { integer, text };

/// Whether an argument of that kind fits a conversion.
constexpr bool fits(Code_point letter, Argument_kind kind) noexcept
{
    const std::string_view letters = kind == Argument_kind::text ? "spP" : "*diuoxXbBpPcrR";
    return letter > 0 && letter < 128 && letters.find(static_cast<char>(letter)) != std::string_view::npos;
}

/// Whether `format` takes just these arguments.
constexpr bool fits(std::string_view format, std::initializer_list<Argument_kind> kinds) noexcept
{
    const char* position = format.data();
    const char* const end = position + format.size();
    const auto* kind = kinds.begin();
    while (next_conversion(position, end, [](const char*, const char*) {})) {
        Format_specification specification;
        for (Code_point letter = '*'; letter == '*'; specification.take(0)) {
            letter = specification.read(position, end);
            if (kind == kinds.end() || !fits(letter, *kind++)) {
                return false;
            }
        }
    }
    return position == end && kind == kinds.end();
}

} // namespace qv::string::internal::format
