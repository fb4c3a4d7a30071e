#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

/// Small helpers on plain bytes of text, beside `std::string`.
namespace qv::string {

/// The low four bits of `value` as a hexadecimal digit.
char hex_digit(std::uint32_t value, bool uppercase) noexcept;
/// 0 to 15; 0 for what isn't a hexadecimal digit.
std::uint32_t hex_value(char character) noexcept;
/// A number as `scanf` reads it with "%x"; moves `text` behind its digits. 0, with `text` where it was, without
/// one.
std::uint32_t parse_hex(const char*& text) noexcept;

/// A copy of `length` bytes and a terminator. Null for a null `text` and when memory ends.
std::unique_ptr<char[]> duplicate(const char* text, std::size_t length) noexcept;

/// `vsnprintf` into a buffer of `size` bytes, its terminator included: longer texts are cut. Empty for a format
/// that can't be followed and when memory ends.
std::string format_to_string(std::size_t size, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// The next piece of `text` up to one of `delimiters`, which is overwritten by a terminator. A null `text` goes on
/// at `rest`, which is null behind the last piece; null when there is no further piece. `skip` passes over
/// delimiters in front, so that no piece is empty.
char* tokenize(char* text, const char* delimiters, char*& rest, bool skip) noexcept;
/// The same without writing: the piece ends at the delimiter, which is stored in `found` (0 at the end of the
/// text).
const char* tokenize(const char* text, const char* delimiters, const char*& rest, char& found, bool skip) noexcept;

/// ASCII letters only.
void to_lower(std::string& text) noexcept;
void to_upper(std::string& text) noexcept;

void replace_character(std::string& text, char from, char to) noexcept;
/// Every occurrence from left to right; what was put in isn't looked at again. Nothing for an empty `from`.
void replace_all(std::string& text, const std::string& from, const std::string& to);

/// A copy of `text`, which is UTF-8, without its whitespace. Bytes that aren't UTF-8 stay.
std::string remove_whitespace(const std::string& text);

/// Tests lead bytes (0xC2 to 0xDF open two bytes, 0xE0 to 0xEF three, 0xF0 to 0xF4 four) and continuation bytes.
/// With `no_controls` a byte below 32 other than tabulator, line feed and carriage return is refused too.
[[nodiscard]] bool is_valid_utf_8(const char* bytes, std::size_t length, bool no_controls) noexcept;

/// Stricter: each code point in its shortest form, no surrogate, none above 0x10FFFF [RFC 3629].
[[nodiscard]] bool is_well_formed_utf_8(std::string_view text) noexcept;

/// Whether `text` begins with 0xFE and 0xFF, in either order.
[[nodiscard]] bool has_utf_16_bom(const std::string& text) noexcept;

} // namespace qv::string
