#include "framework/string/whitespace.h"

namespace qv::string {

bool is_blank(Code_point code_point) noexcept
{
    switch (code_point) {
        case 9:     // tabulator
        case 32:    // space
        case 5760:  // ogham space mark
        case 8287:  // medium mathematical space
        case 12288: // ideographic space
            return true;
        default: return code_point >= 8192 && code_point <= 8202; // en quad to hair space
    }
}

bool is_line_or_other_space(Code_point code_point) noexcept
{
    switch (code_point) {
        case 133:  // next line
        case 160:  // no-break space
        case 6158: // mongolian vowel separator
        case 8232: // line separator
        case 8233: // paragraph separator
        case 8239: // narrow no-break space
        case 8288: // word joiner
            return true;
        default: return code_point >= 10 && code_point <= 13; // line feed to carriage return
    }
}

} // namespace qv::string
