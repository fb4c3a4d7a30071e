#include "service/name_text.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace qv::can_bus::flr {

std::string name_text(name::Name name)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%08x%s%08x", static_cast<std::uint32_t>(name >> 32), " ",
                  static_cast<std::uint32_t>(name));
    return text.data();
}

} // namespace qv::can_bus::flr
