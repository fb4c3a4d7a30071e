#include "ctl/ecu.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <optional>

namespace ctl {

namespace {

constexpr std::size_t name_digits = 16;

char lower(char character) noexcept
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character | 0x20) : character;
}

bool same(char one, char other) noexcept { return lower(one) == lower(other); }

bool remove_hex_prefix(std::string_view& text) noexcept
{
    const bool found = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(found ? 2 : 0);
    return found;
}

std::optional<std::uint64_t> number(std::string_view text, int base) noexcept
{
    std::uint64_t value = 0;
    const auto* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, base);
    return error == std::errc{} && stop == end ? std::optional(value) : std::nullopt;
}

std::optional<std::uint64_t> read_name(std::string_view text)
{
    remove_hex_prefix(text);
    std::string digits(text);
    if (digits.size() == name_digits + 1 && digits[name_digits / 2] == ' ') {
        digits.erase(name_digits / 2, 1);
    }
    return digits.size() == name_digits ? number(digits, 16) : std::nullopt;
}

std::optional<std::uint64_t> read_address(std::string_view text)
{
    const bool hexadecimal = remove_hex_prefix(text);
    return number(text, hexadecimal ? 16 : 10);
}

template <class Fits> std::vector<const Ecu*> all_that(const std::vector<Ecu>& ecus, Fits fits)
{
    std::vector<const Ecu*> found;
    for (const auto& ecu : ecus) {
        const bool seen =
            std::any_of(found.begin(), found.end(), [&](const Ecu* earlier) { return earlier->name == ecu.name; });
        if (!seen && fits(ecu)) {
            found.push_back(&ecu);
        }
    }
    return found;
}

} // namespace

std::string name_text(std::uint64_t name)
{
    std::array<char, name_digits + 1> text{};
    std::snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(name));
    return text.data();
}

std::string address_text(std::int32_t address)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%02x", static_cast<unsigned>(address));
    return text.data();
}

std::vector<const Ecu*> matching_ecus(const std::vector<Ecu>& ecus, std::string_view text)
{
    const auto name = read_name(text);
    const auto address = read_address(text);
    auto found = all_that(ecus, [&](const Ecu& ecu) {
        return ecu.name == name || (ecu.address >= 0 && static_cast<std::uint64_t>(ecu.address) == address) ||
               ecu.title == text;
    });
    if (found.empty() && !text.empty()) {
        found = all_that(ecus, [&](const Ecu& ecu) {
            return std::search(ecu.title.begin(), ecu.title.end(), text.begin(), text.end(), same) !=
                   ecu.title.end();
        });
    }
    return found;
}

} // namespace ctl
