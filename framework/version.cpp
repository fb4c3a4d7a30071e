#include "framework/version.h"

#include <array>
#include <cstdio>

namespace qv {

std::string version_text(std::uint32_t major_number, std::uint32_t minor_number, std::uint32_t patch_number,
                         std::uint32_t build_number, bool padded, bool dotted)
{
    const int width = padded ? 2 : 0;
    const int build_width = padded ? 4 : 0;
    const char* const separator = dotted ? "." : "";
    std::array<char, 4 * 10 + 4> text; // four numbers of at most ten digits, three dots and the end
    const int length =
        std::snprintf(text.data(), text.size(), "%0*u%s%0*u%s%0*u%s%0*u", width, major_number, separator, width,
                      minor_number, separator, width, patch_number, separator, build_width, build_number);
    return {text.data(), static_cast<std::size_t>(length)};
}

std::string version_text(const Version& version)
{
    return version_text(version.major, version.minor, version.patch, version.build, false, true);
}

} // namespace qv
