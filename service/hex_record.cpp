#include "service/hex_record.h"

namespace qv::can_bus::flr {

namespace {

constexpr auto digit_values = [] {
    std::array<std::uint8_t, 256> values{};
    for (std::size_t code = 0; code < values.size(); ++code) {
        values[code] = static_cast<std::uint8_t>(code);
    }
    for (std::uint8_t value = 0; value < 10; ++value) {
        values[static_cast<std::size_t>('0') + value] = value;
    }
    for (std::uint8_t value = 10; value < 16; ++value) {
        values[static_cast<std::size_t>('A') + value - 10] = value;
        values[static_cast<std::size_t>('a') + value - 10] = value;
    }
    return values;
}();

constexpr std::size_t header_length = 4; ///< length, address, type
constexpr std::size_t frame_length = header_length + 1;

/// The byte of each pair of characters, so that a record takes one look-up a byte. Too long for a constant
/// expression by the limits of some compilers.
const auto pair_values = [] {
    std::array<std::uint8_t, 65536> values{};
    for (std::size_t pair = 0; pair < values.size(); ++pair) {
        values[pair] = static_cast<std::uint8_t>((digit_values[pair >> 8] << 4) + digit_values[pair & 0xFF]);
    }
    return values;
}();

std::uint8_t byte_at(std::string_view digits, std::size_t index) noexcept
{
    const auto high = static_cast<unsigned char>(digits[2 * index]);
    const auto low = static_cast<unsigned char>(digits[2 * index + 1]);
    return pair_values[static_cast<std::size_t>(high) << 8 | low];
}

std::uint8_t data_length(std::uint8_t length, std::uint8_t type) noexcept
{
    const bool one_at_least = type == Hex_record::encryption_info || type == Hex_record::reserved_text;
    return length == 0 && one_at_least ? std::uint8_t{1} : length;
}

} // namespace

Hex_line parse_record(std::string_view line, Hex_record& record)
{
    const auto colon = line.find_first_not_of("\r\n");
    if (colon == line.npos || line[colon] != ':') {
        return Hex_line::no_record;
    }
    const auto digits = line.substr(colon + 1);
    if (digits.size() < 2 * frame_length) {
        return Hex_line::bad;
    }
    const auto length_field = byte_at(digits, 0);
    record.address = static_cast<std::uint16_t>(byte_at(digits, 1) << 8 | byte_at(digits, 2));
    record.type = byte_at(digits, 3);
    record.length = data_length(length_field, record.type);
    if (digits.size() < 2 * (frame_length + record.length)) {
        return Hex_line::bad;
    }
    auto sum = static_cast<unsigned>(length_field + (record.address >> 8) + record.address + record.type);
    for (std::size_t index = 0; index < record.length; ++index) {
        const auto byte = byte_at(digits, header_length + index);
        record.data[index] = byte;
        sum += byte;
    }
    record.checksum = byte_at(digits, header_length + record.length);
    return ((sum + record.checksum) & 0xFF) == 0 ? Hex_line::record : Hex_line::bad;
}

std::uint32_t text_sum_of(std::string_view line, const Hex_record& record)
{
    std::uint32_t sum = 0;
    for (const char character : line.substr(0, std::size_t{2} * record.length + 11)) {
        sum += static_cast<std::uint32_t>(static_cast<signed char>(character));
    }
    return sum;
}

} // namespace qv::can_bus::flr
