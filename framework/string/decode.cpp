#include "framework/string/decode.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "framework/string/storage_traits_primitives.h"
#include "framework/string/text.h"

namespace qv::string::internal {

namespace {

bool is_not_ascii(char character) noexcept { return static_cast<unsigned char>(character) > 0x7F; }

} // namespace

std::size_t decode_one(std::string_view utf_8, Code_point& code_point) noexcept
{
    std::array<Utf_8_unit, Storage_traits_primitives_utf_8::longest> sequence;
    std::size_t available = 0;
    for (; available < sequence.size() && available < utf_8.size(); ++available) {
        sequence[available] = static_cast<unsigned char>(utf_8[available]);
    }
    const Utf_8_unit* position = sequence.data();
    code_point = Storage_traits_primitives_utf_8::read(position, position + available);
    return static_cast<std::size_t>(position - sequence.data());
}

std::size_t decode_one_tested(std::string_view utf_8, Code_point& code_point) noexcept
{
    const std::size_t count = decode_one(utf_8, code_point);
    return is_valid_utf_8(utf_8.data(), count, false) ? count : 0;
}

void decode_utf_8(std::string_view utf_8, Code_point_container& out)
{
    while (true) {
        const auto* const ascii_end = std::find_if(utf_8.begin(), utf_8.end(), is_not_ascii);
        out.append(utf_8.begin(), ascii_end);
        utf_8.remove_prefix(static_cast<std::size_t>(ascii_end - utf_8.begin()));
        if (utf_8.empty()) {
            return;
        }
        Code_point code_point = 0;
        const std::size_t count = decode_one(utf_8, code_point);
        if (count == 0) {
            return;
        }
        out.append(code_point);
        utf_8.remove_prefix(count);
    }
}

} // namespace qv::string::internal
