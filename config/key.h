#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "framework/byte_array.h"

namespace qv::config {

/// What a key holds. The numbers belong to the file format: 'a' plus the number is the type's letter there.
enum class Key_type : std::uint32_t {
    text = 0,
    boolean = 1,
    decimal = 2,
    real_number = 3,
    hexadecimal = 4,
    binary = 5,
};
inline constexpr std::uint32_t key_type_count = 6;

/// A text, which may be absent.
using Text = std::optional<std::string>;

/// One setting: a name, a type, and a value that is always of the alternative that belongs to the type.
///
/// The address of a key, and with it that of its text, stays the same for as long as the key lives.
struct Key {
    /// `decimal` and `hexadecimal` share the 32-bit word; a byte array without data is an absent binary.
    using Value = std::variant<Text, bool, std::uint32_t, float, Byte_array>;

    /// A key with an absent or zero value. Empty for an empty name and for a type that does not exist.
    static std::unique_ptr<Key> create(Key_type type, std::string_view name);

    std::string name;
    Key_type type;
    Value value;
};

/// The value as it stands in the file, before XML escaping.
std::string value_to_text(const Key& key);
/// Reads the value from `text`. False, with the value unchanged, when the text cannot stand for one.
[[nodiscard]] bool value_from_text(Key& key, const char* text);

/// Whether a node or key of this name can be written and read again: letters, digits, '_', '-' and '.', the
/// first a letter or '_' [XML 1.0, 2.3, the ASCII part of Name].
bool is_storable_name(std::string_view name) noexcept;
/// Whether an attribute can hold this text: UTF-8 without control characters other than tab, line feed and
/// carriage return [XML 1.0, 2.2]. These three come back as blanks [XML 1.0, 3.3.3].
bool is_storable_text(std::string_view text) noexcept;

} // namespace qv::config
