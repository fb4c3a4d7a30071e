#pragma once

#include <cstdint>
#include <string_view>

#include "framework/string/code_point_container.h"
#include "framework/string/specification.h"

/// Text, single characters and Roman numerals within the width of a field.
namespace qv::string::internal::format {

/// How many code points fill up a field that has `length` of them.
constexpr std::size_t padding(const formatting::Specification& specification, std::size_t length) noexcept
{
    const std::size_t width =
        specification.width < formatting::widest_field ? specification.width : formatting::widest_field;
    return width > length ? width - length : 0;
}

/// "?" stands for each byte above 127.
void write_text(Code_point_container& out, const formatting::Specification& specification, std::string_view ascii);

/// The conversion "%s": null counts as empty; no byte behind the precision is read.
void write_argument(Code_point_container& out, const formatting::Specification& specification, const char* text);

void write_character(Code_point_container& out, const formatting::Specification& specification,
                     Code_point character);

/// The magnitude as a Roman numeral, with its sign in front. 0, and what lies above 4095, is "N".
void write_roman(Code_point_container& out, const formatting::Specification& specification, std::int32_t value,
                 bool uppercase);

} // namespace qv::string::internal::format
