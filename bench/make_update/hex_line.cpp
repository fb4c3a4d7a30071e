#include "bench/make_update/hex_line.h"

#include <algorithm>
#include <numeric>

namespace bench::update {

namespace {

int digit(char character) noexcept
{
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    const char lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// All digit pairs of the text as bytes; nothing when a character is no digit or one is left over.
std::optional<std::vector<std::uint8_t>> bytes_of(std::string_view digits)
{
    std::vector<std::uint8_t> bytes;
    for (std::size_t place = 0; place + 1 < digits.size(); place += 2) {
        const int high = digit(digits[place]);
        const int low = digit(digits[place + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
    }
    return digits.size() % 2 == 0 ? std::optional(bytes) : std::nullopt;
}

std::uint8_t sum_of(std::span<const std::uint8_t> bytes) noexcept
{
    return std::accumulate(bytes.begin(), bytes.end(), std::uint8_t{0}, [](std::uint8_t sum, std::uint8_t byte) {
        return static_cast<std::uint8_t>(sum + byte);
    });
}

} // namespace

std::string encode(const Line& line)
{
    std::vector<std::uint8_t> bytes{static_cast<std::uint8_t>(line.data.size())};
    append_big_endian(bytes, line.address, 2);
    bytes.push_back(static_cast<std::uint8_t>(line.type));
    bytes.insert(bytes.end(), line.data.begin(), line.data.end());
    bytes.push_back(static_cast<std::uint8_t>(-sum_of(bytes)));
    std::string text = ":";
    for (const auto byte : bytes) {
        text += "0123456789ABCDEF"[byte >> 4];
        text += "0123456789ABCDEF"[byte & 0xF];
    }
    return text;
}

std::optional<Line> decode(std::string_view text, std::string& problem)
{
    const auto bytes = bytes_of(text.substr(1));
    if (!bytes) {
        problem = "holds something other than pairs of hexadecimal digits";
        return std::nullopt;
    }
    if (bytes->size() < 5 || bytes->size() < 5U + bytes->front()) {
        problem = "is shorter than its length field promises";
        return std::nullopt;
    }
    const auto size = static_cast<std::size_t>(bytes->front());
    if (sum_of(*bytes) != 0 || bytes->size() > size + 5) {
        problem = bytes->size() > size + 5 ? "is longer than its length field tells" : "has a wrong checksum";
        return std::nullopt;
    }
    Line line;
    line.address = static_cast<std::uint16_t>(big_endian(std::span(*bytes).subspan(1, 2)));
    line.type = static_cast<Type>((*bytes)[3]);
    line.data.assign(bytes->begin() + 4, bytes->end() - 1);
    return line;
}

std::uint8_t plain_sum(const std::string& text, Type type) noexcept
{
    std::uint8_t sum = 0;
    for (const char character : type <= Type::start_linear ? text : std::string()) {
        sum = static_cast<std::uint8_t>(sum + character);
    }
    return sum;
}

std::vector<std::uint8_t> scramble(std::string_view ecu_info, std::uint8_t sum)
{
    std::vector<std::uint8_t> block(ecu_info.rbegin(), ecu_info.rend());
    for (auto& byte : block) {
        byte = static_cast<std::uint8_t>(byte + sum++);
    }
    return block;
}

std::string unscramble(std::span<const std::uint8_t> block, std::uint8_t sum)
{
    std::string text;
    for (const auto byte : block) {
        text += static_cast<char>(byte - sum++);
    }
    text.resize(std::min(text.size(), text.find('\0')));
    std::reverse(text.begin(), text.end());
    return text;
}

std::uint32_t big_endian(std::span<const std::uint8_t> bytes) noexcept
{
    std::uint32_t value = 0;
    for (const auto byte : bytes) {
        value = value << 8 | byte;
    }
    return value;
}

void append_big_endian(std::vector<std::uint8_t>& bytes, std::uint32_t value, unsigned width)
{
    while (width-- > 0) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * width)));
    }
}

} // namespace bench::update
