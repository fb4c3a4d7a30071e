#include "framework/string/decode.h"

#include <algorithm>
#include <iterator>

#include "framework/string/storage_traits_primitives.h"

namespace qv::string::internal {

std::size_t decode_one(std::string_view utf_8, Code_point& code_point) noexcept
{
    Utf_8_unit sequence[Storage_traits_primitives_utf_8::longest];
    const std::size_t available = std::min(utf_8.size(), std::size(sequence));
    std::copy_n(utf_8.begin(), available, sequence);
    const Utf_8_unit* position = sequence;
    code_point = Storage_traits_primitives_utf_8::read(position, sequence + available);
    return static_cast<std::size_t>(position - sequence);
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
