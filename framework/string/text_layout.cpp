#include "framework/string/text_layout.h"

#include <cstring>
#include <string>

#include "framework/string/integer_layout.h"
#include "framework/string/text.h"

namespace qv::string::internal::format {

namespace {

using formatting::Specification;

struct Step {
    std::uint32_t value;
    const char* numeral;
};

constexpr Step steps[] = {{1000, "M"}, {900, "CM"}, {500, "D"}, {400, "CD"}, {100, "C"}, {90, "XC"}, {50, "L"},
                          {40, "XL"},  {10, "X"},   {9, "IX"},  {5, "V"},    {4, "IV"},  {1, "I"}};
constexpr std::uint32_t roman_maximum = 4095;

void append_roman(std::string& numeral, std::uint32_t value)
{
    if (value == 0 || value > roman_maximum) {
        numeral += 'N';
        return;
    }
    for (const auto& step : steps) {
        for (; value >= step.value; value -= step.value) {
            numeral += step.numeral;
        }
    }
}

/// Puts what `write` appends, `length` code points, into the field.
template <class Write>
void write_padded(Code_point_container& out, const Specification& specification, std::size_t length, Write write)
{
    const std::size_t blanks = padding(specification, length);
    out.append(specification.right_justified ? blanks : 0, specification.fill);
    write();
    out.append(specification.right_justified ? 0 : blanks, specification.fill);
}

} // namespace

void write_text(Code_point_container& out, const Specification& specification, std::string_view ascii)
{
    write_padded(out, specification, ascii.size(), [&out, ascii] {
        for (const char character : ascii) {
            const auto byte = static_cast<unsigned char>(character);
            out.append(byte > 127 ? replacement : byte);
        }
    });
}

void write_argument(Code_point_container& out, const Specification& specification, const char* text)
{
    const std::size_t longest = specification.precision == formatting::no_precision
                                    ? static_cast<std::size_t>(PTRDIFF_MAX)
                                    : specification.precision;
    write_text(out, specification,
               text == nullptr ? std::string_view() : std::string_view(text, strnlen(text, longest)));
}

void write_character(Code_point_container& out, const Specification& specification, Code_point character)
{
    write_padded(out, specification, 1, [&out, character] { out.append(character); });
}

void write_roman(Code_point_container& out, const Specification& specification, std::int32_t value, bool uppercase)
{
    std::string numeral;
    if (const char sign = sign_of(specification, value < 0); sign != 0) {
        numeral += sign;
    }
    const auto bits = static_cast<std::uint32_t>(value);
    append_roman(numeral, value < 0 ? 0 - bits : bits);
    if (!uppercase) {
        to_lower(numeral);
    }
    write_text(out, specification, numeral);
}

} // namespace qv::string::internal::format
