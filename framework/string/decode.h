#pragma once

#include <cstddef>
#include <string_view>

#include "framework/string/code_point_container.h"

namespace qv::string::internal {

/// The first code point of `utf_8`, which isn't empty, and how many bytes it took: 0 where nothing valid opens,
/// that is at a stray continuation byte, an impossible lead byte, and a sequence that the end cuts short.
[[nodiscard]] std::size_t decode_one(std::string_view utf_8, Code_point& code_point) noexcept;

/// Appends the code points of `utf_8`, up to its end or to the first place where nothing valid opens.
void decode_utf_8(std::string_view utf_8, Code_point_container& out);

/// The same for bytes of unknown origin: 0 as well where a continuation byte is none.
std::size_t decode_one_tested(std::string_view utf_8, Code_point& code_point) noexcept;

} // namespace qv::string::internal
