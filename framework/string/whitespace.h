#pragma once

#include "framework/string/code_point.h"

namespace qv::string {

/// A space of any width, and the tabulator.
bool is_blank(Code_point code_point) noexcept;
/// What ends a line or a paragraph, and the spaces that don't break.
bool is_line_or_other_space(Code_point code_point) noexcept;

inline bool is_whitespace(Code_point code_point) noexcept
{
    return is_blank(code_point) || is_line_or_other_space(code_point);
}

} // namespace qv::string
