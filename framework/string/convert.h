#pragma once

#include <string>

#include "framework/string/storage_traits_primitives.h"

namespace qv::string::internal {

/// Turns the code points of a string of any encoding from `start` on into another form. A start at or behind the
/// end, and a null or empty string, give an empty result.
class Functor_base {
public:
    explicit Functor_base(std::size_t start) noexcept
        : start_(start)
    {}

protected:
    std::size_t start() const noexcept { return start_; }

private:
    std::size_t start_;
};

/// A functor that gathers its result code point by code point.
template <class Result> class Functor_convert_base : public Functor_base {
public:
    using Functor_base::Functor_base;

protected:
    template <class Text, class Append> Result convert(const Text& text, Append append) const
    {
        Result result;
        result.reserve(text.size());
        std::size_t index = 0;
        for (const Code_point code_point : text) {
            if (index++ >= start()) {
                append(result, code_point);
            }
        }
        return result;
    }
};

/// One byte a code point, with "?" for each above 127.
class Functor_convert_to_printable_string : public Functor_convert_base<std::string> {
public:
    explicit Functor_convert_to_printable_string(std::size_t start = 0) noexcept
        : Functor_convert_base(start)
    {}

    template <class Text> std::string operator()(const Text& text) const
    {
        return convert(text, [](std::string& result, Code_point code_point) {
            result.push_back(static_cast<char>(code_point > 127 ? replacement : code_point));
        });
    }
};

class Functor_convert_to_utf_8 : public Functor_convert_base<std::string> {
public:
    explicit Functor_convert_to_utf_8(std::size_t start = 0) noexcept
        : Functor_convert_base(start)
    {}

    /// Ends at the first code point that UTF-8 can't write.
    template <class Text> std::string operator()(const Text& text) const
    {
        bool writable = true;
        return convert(text, [&writable](std::string& result, Code_point code_point) {
            Utf_8_unit units[Storage_traits_primitives_utf_8::longest];
            const std::size_t count = Storage_traits_primitives_utf_8::write(code_point, units);
            writable = writable && count != 0;
            if (writable) {
                result.append(units, units + count);
            }
        });
    }
};

} // namespace qv::string::internal
