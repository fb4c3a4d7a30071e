#pragma once

#include <cstddef>
#include <string_view>
#include <type_traits>

#include "framework/string/format_parser.h"

namespace qv::log {

/// Is not a constant expression, so that a format which reaches it does not compile.
inline void format_does_not_fit_its_arguments() {}

/// The format of a line, a literal that takes just the `Arguments`: anything else is refused by the compiler. Text
/// that is not a literal goes through "%s".
template <class... Arguments> class Format {
public:
    template <std::size_t size>
    consteval Format(const char (&text)[size]) // NOLINT(google-explicit-constructor): stands for the literal
        : text_(text)
    {
        const std::string_view format(text, size - 1);
        if (text[size - 1] != 0 || format.find('\0') != std::string_view::npos ||
            !string::internal::format::fits(format, {kind<Arguments>...})) {
            format_does_not_fit_its_arguments();
        }
    }

    const char* text() const noexcept { return text_; }

private:
    template <class Argument>
    static constexpr auto kind =
        std::is_convertible_v<Argument, const char*> ? string::internal::format::Argument_kind::text
                                                     : string::internal::format::Argument_kind::integer;

    const char* text_;
};

} // namespace qv::log
