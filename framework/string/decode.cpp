#include "framework/string/decode.h"

#include <array>
#include <cstddef>

#include "framework/string/storage_traits_primitives.h"

namespace qv::string::internal {

std::size_t decode_one(std::string_view utf_8, Code_point& code_point) noexcept
{
    std::array<Utf_8_unit, Storage_traits_primitives_utf_8::longest> sequence;
    std::size_t available = 0;
    for (; available < sequence.size() && available < utf_8.size(); ++available) {
        sequence[available] = utf_8[available];
    }
    const Utf_8_unit* position = sequence.data();
    code_point = Storage_traits_primitives_utf_8::read(position, position + available);
    return static_cast<std::size_t>(position - sequence.data());
}

void decode_utf_8(std::string_view utf_8, Code_point_container& out)
{
    while (!utf_8.empty()) {
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
