#include "framework/string/storage_traits_primitives.h"

namespace qv::string::internal {

namespace {

constexpr std::size_t no_sequence = 0;

/// How many bytes the sequence has that `lead` opens.
constexpr std::size_t sequence_length(unsigned char lead) noexcept
{
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC0) {
        return no_sequence;
    }
    if (lead < 0xE0) {
        return 2;
    }
    if (lead < 0xF0) {
        return 3;
    }
    return lead < 0xF8 ? 4 : no_sequence;
}

constexpr bool is_continuation(unsigned char byte) noexcept { return (byte & 0xC0) == 0x80; }
constexpr bool is_high_surrogate(Code_point unit) noexcept { return (unit & ~0x3FF) == 0xD800; }
constexpr bool is_low_surrogate(Code_point unit) noexcept { return (unit & ~0x3FF) == 0xDC00; }

Utf_8_unit continuation(Code_point code_point, int shift) noexcept
{
    return static_cast<unsigned char>(0x80 | ((code_point >> shift) & 0x3F));
}

Utf_8_unit lead(Code_point code_point, int shift, int mark) noexcept
{
    return static_cast<unsigned char>(mark | (code_point >> shift));
}

} // namespace

Code_point Storage_traits_primitives_utf_8::read(const Utf_8_unit*& position, const Utf_8_unit* end) noexcept
{
    const unsigned char first = *position;
    const std::size_t length = sequence_length(first);
    if (length == 1) {
        ++position;
        return first;
    }
    if (length == no_sequence || static_cast<std::size_t>(end - position) < length) {
        return 0;
    }
    Code_point result = first & (0x7F >> length);
    for (std::size_t index = 1; index < length; ++index) {
        result = (result << 6) | (position[index] & 0x3F);
    }
    position += length;
    return result;
}

Code_point Storage_traits_primitives_utf_8::read_back(const Utf_8_unit*& position,
                                                      const Utf_8_unit* begin) noexcept
{
    const Utf_8_unit* const end = position;
    do {
        --position;
    } while (position != begin && is_continuation(*position));
    const Utf_8_unit* reading = position;
    return read(reading, end);
}

/// For all that is not ASCII.
std::size_t Storage_traits_primitives_utf_8::write_sequence(Code_point code_point, Utf_8_unit* out) noexcept
{
    if (code_point < 0 || code_point >= 0x200000) {
        return 0;
    }
    if (code_point < 0x800) {
        out[0] = lead(code_point, 6, 0xC0);
        out[1] = continuation(code_point, 0);
        return 2;
    }
    if (code_point < 0x10000) {
        out[0] = lead(code_point, 12, 0xE0);
        out[1] = continuation(code_point, 6);
        out[2] = continuation(code_point, 0);
        return 3;
    }
    out[0] = lead(code_point, 18, 0xF0);
    out[1] = continuation(code_point, 12);
    out[2] = continuation(code_point, 6);
    out[3] = continuation(code_point, 0);
    return 4;
}

Code_point Storage_traits_primitives_utf_16::read(const Utf_16_unit*& position, const Utf_16_unit* end) noexcept
{
    const Code_point unit = *position++;
    if (!is_high_surrogate(unit)) {
        return is_low_surrogate(unit) ? 0 : unit;
    }
    if (position == end) {
        return 0;
    }
    return 0x10000 + ((unit & 0x3FF) << 10) + (*position++ & 0x3FF);
}

Code_point Storage_traits_primitives_utf_16::read_back(const Utf_16_unit*& position,
                                                       const Utf_16_unit* begin) noexcept
{
    const Utf_16_unit* const end = position--;
    if (is_low_surrogate(*position) && position != begin && is_high_surrogate(position[-1])) {
        --position;
    }
    const Utf_16_unit* reading = position;
    return read(reading, end);
}

std::size_t Storage_traits_primitives_utf_16::write(Code_point code_point, Utf_16_unit* out) noexcept
{
    if (code_point < 0 || code_point > 0x10FFFF || is_high_surrogate(code_point) || is_low_surrogate(code_point)) {
        return 0;
    }
    if (code_point < 0x10000) {
        out[0] = static_cast<unsigned short>(code_point);
        return 1;
    }
    out[0] = static_cast<unsigned short>(0xD800 | ((code_point - 0x10000) >> 10));
    out[1] = static_cast<unsigned short>(0xDC00 | (code_point & 0x3FF));
    return 2;
}

} // namespace qv::string::internal
