#pragma once

#include "framework/string/format_parser.h"
#include "framework/string/string.h"
#include "framework/trailing_parens_idiom_collector.h"

namespace qv::string {

namespace internal::format {

/// Follows a format, one argument a call. What does not fit ends the text where it stands: no argument and no
/// format text counts behind it, and nothing reports it.
///
/// Letters, as of printf: "d" "i" "u" "o" "x" "X" "c" "s" "p" "n", and "b" "B" base 2, "P", "r" "R" Roman numeral.
/// The flag ":" groups digits by a thin space, hexadecimal ones by "_".
///
/// Thread: one; lives on the stack of one call.
class Collector : public Trailing_parens_idiom_collector<Code_point_container> {
public:
    /// `format` is UTF-8. Its text up to the first conversion is gathered at once.
    explicit Collector(const char* format);
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;

    Collector& operator()(int value) { return integer(static_cast<std::uint32_t>(value)); }
    Collector& operator()(unsigned value) { return integer(value); }
    /// ASCII, "?" for each byte above 127; with a precision it needs no terminator. Null counts as empty.
    Collector& operator()(const char* text);
    /// For "%n": gets the number of code points gathered so far. May be null.
    Collector& operator()(int* count);

    template <class Unit> operator String<Unit>() const { return String<Unit>(container_); }

private:
    Collector& integer(std::uint32_t value);
    void write(Code_point letter, std::uint32_t value);
    void write_address(Code_point letter, std::uint64_t address);
    void run_to_conversion();

    const Utf_32_string format_;
    const Utf_32_unit* position_; ///< within `format_`
    const Utf_32_unit* end_;
    Format_specification specification_;
};

} // namespace internal::format

namespace formatting {

/// What the system formats with: `Utf_8_string text = Collector("%u of %s")(count)(name);`
class Collector : public internal::format::Collector {
public:
    using internal::format::Collector::Collector;
};

} // namespace formatting

} // namespace qv::string
