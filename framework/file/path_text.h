#pragma once

#include <string>
#include <string_view>

namespace qv::file {

// Both "/" and "\" separate names.

/// ".gz" of "a/b.tar.gz": from the last dot of the last name on, unless that name begins with it; else empty.
std::string extension(std::string_view path);
/// "b.tar" of "a/b.tar.gz": the last name without its extension.
std::string stem(std::string_view path);
/// Appends `character` unless `text` is empty or ends with it.
void append_character(std::string& text, char character);
/// Takes off every `character` at the end of `text`.
void strip_character(std::string& text, char character);

} // namespace qv::file
