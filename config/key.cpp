#include "config/key.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "framework/byte_text.h"

namespace qv::config {

namespace {

Key::Value empty_value(Key_type type)
{
    switch (type) {
        case Key_type::text: return Text{};
        case Key_type::boolean: return false;
        case Key_type::decimal:
        case Key_type::hexadecimal: return std::uint32_t{0};
        case Key_type::real_number: return 0.0F;
        case Key_type::binary: return Byte_array{};
    }
    return Text{};
}

template <std::size_t size, class... Arguments> std::string print(const char* format, Arguments... arguments)
{
    std::array<char, size> buffer{};
    std::snprintf(buffer.data(), buffer.size(), format, arguments...);
    return buffer.data();
}

bool binary_from_text(Byte_array& bytes, std::string_view text)
{
    if (text.empty()) {
        bytes.clear();
        return true;
    }
    return from_hex_text(bytes, static_cast<std::uint32_t>(text.size() / 2), std::string(text).c_str());
}

bool is_letter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

bool is_name_character(char c) noexcept { return is_letter(c) || (c >= '0' && c <= '9') || c == '-' || c == '.'; }

/// The length of the UTF-8 sequence at the start of `text` [RFC 3629, 4], 0 when there is none.
std::size_t sequence_length(std::string_view text) noexcept
{
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byte(0);
    if (lead < 0x80) {
        return 1;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    const std::uint8_t second = byte(1);
    const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool surrogate = lead == 0xED && second > 0x9F;
    const bool beyond_unicode = lead == 0xF4 && second > 0x8F;
    return overlong || surrogate || beyond_unicode ? 0 : length;
}

/// U+FFFE and U+FFFF are UTF-8, but no characters of XML.
bool is_noncharacter(std::string_view sequence) noexcept
{
    return sequence == "\xEF\xBF\xBE" || sequence == "\xEF\xBF\xBF";
}

/// `char` is unsigned on some of the processors that this runs on.
bool is_control(char c) noexcept
{
    return static_cast<std::uint8_t>(c) < ' ' && c != '\t' && c != '\n' && c != '\r';
}

} // namespace

std::unique_ptr<Key> Key::create(Key_type type, std::string_view name)
{
    if (name.empty() || static_cast<std::uint32_t>(type) >= key_type_count) {
        return nullptr;
    }
    return std::unique_ptr<Key>(new (std::nothrow) Key{std::string(name), type, empty_value(type)});
}

std::string value_to_text(const Key& key)
{
    switch (key.type) {
        case Key_type::text: return std::get<Text>(key.value).value_or("");
        case Key_type::boolean: return std::get<bool>(key.value) ? "true" : "false";
        case Key_type::decimal:
            return print<22>("%d", static_cast<std::int32_t>(std::get<std::uint32_t>(key.value)));
        case Key_type::real_number: return print<22>("%e", static_cast<double>(std::get<float>(key.value)));
        case Key_type::hexadecimal: return print<16>("%08x", std::get<std::uint32_t>(key.value));
        case Key_type::binary: return to_hex_text(std::get<Byte_array>(key.value));
    }
    return {};
}

bool value_from_text(Key& key, const char* text)
{
    switch (key.type) {
        case Key_type::text: key.value = Text(text); return true;
        case Key_type::boolean:
            if (*text == '\0') {
                return false;
            }
            key.value = *text == '1' || *text == 't';
            return true;
        case Key_type::decimal:
            key.value = static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
            return true;
        case Key_type::real_number: key.value = static_cast<float>(std::strtod(text, nullptr)); return true;
        case Key_type::hexadecimal:
            key.value = static_cast<std::uint32_t>(std::strtoul(text, nullptr, 16));
            return true;
        case Key_type::binary: return binary_from_text(std::get<Byte_array>(key.value), text);
    }
    return false;
}

bool is_storable_name(std::string_view name) noexcept
{
    return !name.empty() && is_letter(name.front()) && std::all_of(name.begin(), name.end(), is_name_character);
}

bool is_storable_text(std::string_view text) noexcept
{
    while (!text.empty()) {
        const std::size_t length = sequence_length(text);
        if (length == 0 || is_control(text.front()) || is_noncharacter(text.substr(0, length))) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

} // namespace qv::config
