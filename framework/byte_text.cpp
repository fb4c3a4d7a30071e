#include "framework/byte_text.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace qv {

namespace {

std::uint8_t digit_value(char character)
{
    if (character >= '0' && character <= '9') {
        return static_cast<std::uint8_t>(character - '0');
    }
    if (character >= 'A' && character <= 'F') {
        return static_cast<std::uint8_t>(character - 'A' + 10);
    }
    if (character >= 'a' && character <= 'f') {
        return static_cast<std::uint8_t>(character - 'a' + 10);
    }
    return 0;
}

std::span<const std::uint8_t> first_bytes(const Byte_array_fix& array, std::uint32_t max_count)
{
    return array.bytes().first(std::min(array.size(), max_count));
}

} // namespace

bool from_hex_text(Byte_array& array, std::uint32_t size, const char* text)
{
    array.clear();
    const std::size_t digits = std::size_t{size} * 2;
    if (size == 0 || text == nullptr || ::strnlen(text, digits) < digits || !array.resize(size)) {
        return false;
    }
    for (std::uint8_t& byte : array.writable()) {
        byte = static_cast<std::uint8_t>(digit_value(text[0]) << 4 | digit_value(text[1]));
        text += 2;
    }
    return true;
}

std::string to_hex_text(const Byte_array_fix& array, std::uint32_t max_count, Hex_style style)
{
    const char* const digits = style.uppercase ? "0123456789ABCDEF" : "0123456789abcdef";
    const auto chosen = first_bytes(array, max_count);
    std::string text;
    text.reserve(chosen.size() * (style.spaced ? 3 : 2));
    for (std::size_t index = 0; index < chosen.size(); ++index) {
        const std::uint8_t byte = chosen[style.reversed ? chosen.size() - 1 - index : index];
        if (style.spaced) {
            text += ' ';
        }
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

std::string to_printable_text(const Byte_array_fix& array, std::uint32_t max_count)
{
    const auto chosen = first_bytes(array, max_count);
    std::string text(chosen.size(), '.');
    std::ranges::transform(chosen, text.begin(),
                           [](std::uint8_t byte) { return byte < 32 ? '.' : static_cast<char>(byte); });
    return text;
}

} // namespace qv
