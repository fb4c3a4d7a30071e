#include "framework/string/code_page.h"

#include "framework/string/decode.h"
#include "framework/string/storage_traits_primitives.h"

namespace qv::string {

namespace {

using Utf_8 = internal::Storage_traits_primitives_utf_8;

constexpr char unknown = static_cast<char>(replacement);

constexpr Code_point byte_at(std::string_view text, std::size_t index)
{
    return static_cast<unsigned char>(text[index]);
}

void append_utf_8(std::string& out, Code_point code_point)
{
    Utf_8_unit units[Utf_8::longest];
    out.append(units, units + Utf_8::write(code_point, units));
}

// ISO 8859-5 lies in one piece behind U+0360, with four places that keep or borrow another character.
constexpr Code_point cyrillic_distance = 0x360;
constexpr Code_point no_break_space = 0xA0;
constexpr Code_point soft_hyphen = 0xAD;
constexpr Code_point numero_byte = 0xF0;
constexpr Code_point numero_sign = 0x2116;
constexpr Code_point section_byte = 0xFD;
constexpr Code_point section_sign = 0xA7;

constexpr Code_point from_latin_5(Code_point byte) noexcept
{
    if (byte < 0x80 || byte == no_break_space || byte == soft_hyphen) {
        return byte;
    }
    if (byte < no_break_space) {
        return replacement;
    }
    if (byte == numero_byte) {
        return numero_sign;
    }
    return byte == section_byte ? section_sign : byte + cyrillic_distance;
}

constexpr Code_point to_latin_5(Code_point code_point) noexcept
{
    if (code_point < 0x80 || code_point == no_break_space || code_point == soft_hyphen) {
        return code_point;
    }
    if (code_point == numero_sign) {
        return numero_byte;
    }
    if (code_point == section_sign) {
        return section_byte;
    }
    const bool cyrillic = code_point >= 0x400 && code_point <= 0x45F;
    return cyrillic ? code_point - cyrillic_distance : replacement;
}

} // namespace

std::string latin_1_to_utf_8(std::string_view text)
{
    std::string result;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const Code_point byte = byte_at(text, index);
        if (byte >= 0x80 && byte <= 0x9F) {
            break;
        }
        append_utf_8(result, byte);
    }
    return result;
}

std::string utf_8_to_latin_1(std::string_view text)
{
    std::string result;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const Code_point byte = byte_at(text, index);
        const Code_point behind = index + 1 < text.size() ? byte_at(text, index + 1) : 0;
        if (byte < 0x80) {
            result.push_back(static_cast<char>(byte));
        } else if ((byte == 0xC2 || byte == 0xC3) && (behind & 0xC0) == 0x80) {
            result.push_back(static_cast<char>(((byte & 0x03) << 6) | (behind & 0x3F)));
            ++index;
        } else {
            result.push_back(unknown);
        }
    }
    return result;
}

std::string latin_5_to_utf_8(std::string_view text)
{
    std::string result;
    for (std::size_t index = 0; index < text.size(); ++index) {
        append_utf_8(result, from_latin_5(byte_at(text, index)));
    }
    return result;
}

std::string utf_8_to_latin_5(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        Code_point code_point = 0;
        const std::size_t count = internal::decode_one_tested(text, code_point);
        result.push_back(count == 0 ? unknown : static_cast<char>(to_latin_5(code_point)));
        text.remove_prefix(count == 0 ? 1 : count);
    }
    return result;
}

} // namespace qv::string
