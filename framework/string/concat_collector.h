#pragma once

#include "framework/string/string.h"
#include "framework/trailing_parens_idiom_collector.h"

namespace qv::string::internal {

/// Joins strings of any encoding: `Utf_8_string text = Concat_collector()(first)(" ")(second);`
class Concat_collector : public Trailing_parens_idiom_collector<Code_point_container> {
public:
    template <class Unit> Concat_collector& operator()(const String<Unit>& text)
    {
        container_.append(text.begin(), text.end());
        return *this;
    }
    /// `utf_8` may be null, which adds nothing.
    Concat_collector& operator()(const char* utf_8)
    {
        if (utf_8 != nullptr) {
            decode_utf_8(utf_8, container_);
        }
        return *this;
    }

    template <class Unit> operator String<Unit>() const { return String<Unit>(container_); }
};

} // namespace qv::string::internal
