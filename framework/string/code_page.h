#pragma once

#include <string>
#include <string_view>

/// The eight-bit code pages of text on a Virtual Terminal, to and from UTF-8: ISO 8859-1 (Western) and ISO 8859-5
/// (Cyrillic) [ISO 11783-6, font attributes object].
namespace qv::string {

/// Stops at a byte from 0x80 to 0x9F.
std::string latin_1_to_utf_8(std::string_view text);
/// What ISO 8859-1 lacks gives one "?" for each of its bytes.
std::string utf_8_to_latin_1(std::string_view text);

/// 0x80 to 0x9F become "?".
std::string latin_5_to_utf_8(std::string_view text);
/// What ISO 8859-5 lacks gives one "?", and so does each byte that isn't UTF-8.
std::string utf_8_to_latin_5(std::string_view text);

} // namespace qv::string
