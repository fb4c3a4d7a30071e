#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace bench::update {

/// Types of record: those of Intel HEX, and those that an update file adds.
enum class Type : std::uint8_t {
    data = 0x00,
    end_of_file = 0x01,
    segment_address = 0x02,
    start_segment = 0x03,
    linear_address = 0x04,
    start_linear = 0x05,
    ecu_info = 0x0A,
    encryption = 0x0B,
    version = 0x0C,
    reserved_text = 0x0D, ///< of no meaning
    sector = 0x10,
};

struct Line {
    std::uint16_t address = 0;
    Type type = Type::end_of_file;
    std::vector<std::uint8_t> data; ///< at most 255 bytes
};

/// ":", the record's bytes in upper-case hexadecimal, and the checksum; no line end.
[[nodiscard]] std::string encode(const Line& line);

/// Reads a line strictly. On a mistake nothing, and `problem` tells what is wrong with it.
[[nodiscard]] std::optional<Line> decode(std::string_view text, std::string& problem);

/// What a line adds to the sum that scrambles the ECU info: its characters, for the types of Intel HEX.
[[nodiscard]] std::uint8_t plain_sum(const std::string& text, Type type) noexcept;

/// The ECU info as it stands in the file: reversed, each character raised by `sum` plus its place.
[[nodiscard]] std::vector<std::uint8_t> scramble(std::string_view ecu_info, std::uint8_t sum);
[[nodiscard]] std::string unscramble(std::span<const std::uint8_t> block, std::uint8_t sum);

/// Numbers in records stand with the high byte first.
[[nodiscard]] std::uint32_t big_endian(std::span<const std::uint8_t> bytes) noexcept;
void append_big_endian(std::vector<std::uint8_t>& bytes, std::uint32_t value, unsigned width);

} // namespace bench::update
