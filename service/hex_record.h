#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace qv::can_bus::flr {

/// One record of an extended Intel HEX file.
struct Hex_record {
    enum Type : std::uint8_t {
        data_bytes = 0x00,
        end_of_file = 0x01,
        extended_segment_address = 0x02,
        start_segment_address = 0x03,
        extended_linear_address = 0x04,
        start_linear_address = 0x05,
        ecu_info_block = 0x0A,
        encryption_info = 0x0B,
        software_version = 0x0C,
        reserved_text = 0x0D,
        memory_definition = 0x10,
    };
    static constexpr std::size_t length_limit = 255;

    std::span<const std::uint8_t> bytes() const noexcept { return {data.data(), length}; }

    std::uint8_t length = 0;
    std::uint16_t address = 0;
    std::uint8_t type = end_of_file;
    std::array<std::uint8_t, length_limit> data; ///< the first `length` bytes count
    std::uint8_t checksum = 0;
};

enum class Hex_line {
    record,    ///< a sound record
    no_record, ///< does not begin with ":" behind leading carriage returns; passed over
    bad,       ///< shorter than its length field promises, or a wrong checksum
};

/// Reads one line, without its line feed, into `record`. A character that is no hexadecimal digit stands in
/// with its code.
[[nodiscard]] Hex_line parse_record(std::string_view line, Hex_record& record);

/// What the line adds to the running sum of the text: its first 2 x length + 11 characters as signed bytes.
std::uint32_t text_sum_of(std::string_view line, const Hex_record& record);

} // namespace qv::can_bus::flr
