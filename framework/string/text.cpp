#include "framework/string/text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "framework/string/decode.h"
#include "framework/string/whitespace.h"

namespace qv::string {

namespace {

/// How many bytes the sequence has that `lead` opens in well-formed UTF-8; 0 for what opens none.
std::size_t valid_sequence_length(unsigned char lead) noexcept
{
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return 0;
    }
    if (lead < 0xE0) {
        return 2;
    }
    return lead < 0xF0 ? 3 : 4;
}

bool is_refused_control(unsigned char byte) noexcept
{
    return byte < 32 && byte != '\t' && byte != '\n' && byte != '\r';
}

bool is_continuation(char byte) noexcept { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

std::size_t shortest_length(Code_point code_point) noexcept
{
    if (code_point < 0x800) {
        return code_point < 0x80 ? 1 : 2;
    }
    return code_point < 0x10000 ? 3 : 4;
}

/// A number that stands for no character of its own.
bool is_surrogate(Code_point code_point) noexcept { return code_point >= 0xD800 && code_point <= 0xDFFF; }

} // namespace

char hex_digit(std::uint32_t value, bool uppercase) noexcept
{
    return (uppercase ? "0123456789ABCDEF" : "0123456789abcdef")[value & 0xF];
}

std::uint32_t hex_value(char character) noexcept
{
    if (character >= '0' && character <= '9') {
        return static_cast<std::uint32_t>(character - '0');
    }
    if (character >= 'a' && character <= 'f') {
        return static_cast<std::uint32_t>(character - 'a' + 10);
    }
    return character >= 'A' && character <= 'F' ? static_cast<std::uint32_t>(character - 'A' + 10) : 0;
}

std::uint32_t parse_hex(const char*& text) noexcept
{
    char* behind = nullptr;
    const unsigned long value = std::strtoul(text, &behind, 16);
    text = behind;
    return static_cast<std::uint32_t>(value);
}

std::unique_ptr<char[]> duplicate(const char* text, std::size_t length) noexcept
{
    if (text == nullptr) {
        return nullptr;
    }
    std::unique_ptr<char[]> copy(new (std::nothrow) char[length + 1]);
    if (copy != nullptr) {
        std::memcpy(copy.get(), text, length);
        copy[length] = '\0';
    }
    return copy;
}

std::string format_to_string(std::size_t size, const char* format, ...)
{
    const std::unique_ptr<char[]> buffer(size == 0 ? nullptr : new (std::nothrow) char[size]);
    if (buffer == nullptr) {
        return {};
    }
    std::va_list arguments;
    va_start(arguments, format);
    const int count = std::vsnprintf(buffer.get(), size, format, arguments);
    va_end(arguments);
    return count < 0 ? std::string() : std::string(buffer.get());
}

char* tokenize(char* text, const char* delimiters, char*& rest, bool skip) noexcept
{
    char found = 0;
    const char* readable_rest = rest;
    const char* const token = tokenize(text, delimiters, readable_rest, found, skip);
    rest = const_cast<char*>(readable_rest); // it points into the caller's writable text
    if (token != nullptr && rest != nullptr) {
        rest[-1] = '\0';
    }
    return const_cast<char*>(token);
}

const char* tokenize(const char* text, const char* delimiters, const char*& rest, char& found, bool skip) noexcept
{
    const char* token = text == nullptr ? rest : text;
    found = 0;
    if (token == nullptr) {
        return nullptr;
    }
    if (skip) {
        token += std::strspn(token, delimiters);
        if (*token == '\0') {
            rest = nullptr;
            return nullptr;
        }
    }
    const char* const end = token + std::strcspn(token, delimiters);
    found = *end;
    rest = found == '\0' ? nullptr : end + 1;
    return token;
}

void to_lower(std::string& text) noexcept
{
    for (char& character : text) {
        if (character >= 'A' && character <= 'Z') {
            character = static_cast<char>(character - 'A' + 'a');
        }
    }
}

void to_upper(std::string& text) noexcept
{
    for (char& character : text) {
        if (character >= 'a' && character <= 'z') {
            character = static_cast<char>(character - 'a' + 'A');
        }
    }
}

void replace_character(std::string& text, char from, char to) noexcept
{
    std::replace(text.begin(), text.end(), from, to);
}

void replace_all(std::string& text, const std::string& from, const std::string& to)
{
    if (from.empty()) {
        return;
    }
    std::string result;
    std::size_t begin = 0;
    for (std::size_t hit = text.find(from); hit != std::string::npos; hit = text.find(from, begin)) {
        result.append(text, begin, hit - begin).append(to);
        begin = hit + from.size();
    }
    text = result.append(text, begin);
}

std::string remove_whitespace(const std::string& text)
{
    std::string result;
    for (std::string_view rest = text; !rest.empty();) {
        Code_point code_point = 0;
        const std::size_t decoded = internal::decode_one_tested(rest, code_point);
        const std::size_t count = std::max<std::size_t>(decoded, 1);
        if (decoded == 0 || !is_whitespace(code_point)) {
            result.append(rest.substr(0, count));
        }
        rest.remove_prefix(count);
    }
    return result;
}

bool is_valid_utf_8(const char* bytes, std::size_t length, bool no_controls) noexcept
{
    for (std::size_t index = 0; index < length;) {
        const auto lead = static_cast<unsigned char>(bytes[index]);
        const std::size_t count = valid_sequence_length(lead);
        if (count == 0 || count > length - index || (no_controls && is_refused_control(lead))) {
            return false;
        }
        if (!std::all_of(bytes + index + 1, bytes + index + count, is_continuation)) {
            return false;
        }
        index += count;
    }
    return true;
}

bool is_well_formed_utf_8(std::string_view text) noexcept
{
    while (!text.empty()) {
        Code_point code_point = 0;
        const std::size_t count = internal::decode_one_tested(text, code_point);
        if (count == 0 || count != shortest_length(code_point) || is_surrogate(code_point) ||
            code_point > 0x10FFFF) {
            return false;
        }
        text.remove_prefix(count);
    }
    return true;
}

bool has_utf_16_bom(const std::string& text) noexcept
{
    return text.starts_with("\xFE\xFF") || text.starts_with("\xFF\xFE");
}

} // namespace qv::string
