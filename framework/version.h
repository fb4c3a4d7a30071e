#pragma once

#include <cstdint>
#include <string>

namespace qv {

/// The four numbers of a version. Versions are shown, never compared.
class Version {
public:
    constexpr Version() noexcept = default;
    constexpr Version(std::uint32_t major_number, std::uint32_t minor_number, std::uint32_t patch_number,
                      std::uint32_t build_number) noexcept
        : major(major_number)
        , minor(minor_number)
        , patch(patch_number)
        , build(build_number)
    {}
    Version(const Version&) = default;
    Version& operator=(const Version&) = default;
    virtual ~Version() = default;

    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t patch = 0;
    std::uint32_t build = 0;
};

/// A version known when the program is compiled; each library derives its own `Version` from one.
template <std::uint32_t major_number, std::uint32_t minor_number, std::uint32_t patch_number,
          std::uint32_t build_number>
class Version_base : public Version {
public:
    Version_base() noexcept
        : Version(major_number, minor_number, patch_number, build_number)
    {}
};

/// The text of a version: "1.20.18.218", without `dotted` "12018218". With `padded` the first three numbers have
/// at least 2 digits and the last 4: "01.20.18.0218".
std::string version_text(std::uint32_t major_number, std::uint32_t minor_number, std::uint32_t patch_number,
                         std::uint32_t build_number, bool padded, bool dotted);
/// The text as the system shows it, dotted and not padded.
std::string version_text(const Version& version);

namespace tool {

inline constexpr const char* title = "tool library";

class Version final : public Version_base<2, 46, 8, 884> {};

} // namespace tool

} // namespace qv
