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

/// Bytes that a record of the type must have; 0 where any number will do.
std::size_t size_of(Type type) noexcept
{
    switch (type) {
        case Type::segment_address:
        case Type::linear_address: return 2;
        case Type::start_segment:
        case Type::start_linear: return 4;
        case Type::sector: return 8;
        default: return 0;
    }
}

/// The data bytes that a length field promises; in records of two types 0 stands for 1.
std::size_t promised(std::uint8_t length, Type type) noexcept
{
    return length == 0 && (type == Type::encryption || type == Type::reserved_text) ? 1 : length;
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
    const auto type = static_cast<Type>(bytes->size() < 5 ? 0 : (*bytes)[3]);
    const auto size = bytes->empty() ? 0 : promised(bytes->front(), type);
    if (bytes->size() != size + 5) {
        problem = bytes->size() < size + 5 ? "is shorter than its length field promises"
                                           : "is longer than its length field tells";
    } else if (sum_of(*bytes) != 0) {
        problem = "has a wrong checksum";
    } else if (size_of(type) != 0 && size != size_of(type)) {
        problem =
            "has " + std::to_string(size) + " data bytes where " + std::to_string(size_of(type)) + " are due";
    } else {
        const auto address = static_cast<std::uint16_t>(big_endian(std::span(*bytes).subspan(1, 2)));
        return Line{address, type, {bytes->begin() + 4, bytes->end() - 1}};
    }
    return std::nullopt;
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
