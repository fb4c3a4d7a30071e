#include "bench/wire/record.h"

#include <algorithm>

namespace bench {
namespace {

constexpr std::uint32_t identifier_mask = 0x1FFFFFFF;
constexpr std::uint32_t error_bit = 1U << 29;
constexpr std::uint32_t remote_bit = 1U << 30;
constexpr std::uint32_t extended_bit = 1U << 31;

} // namespace

Record_bytes encode(const Record& record) noexcept
{
    const std::uint32_t word = (record.identifier & identifier_mask) | (record.error ? error_bit : 0) |
                               (record.remote ? remote_bit : 0) | (record.extended ? extended_bit : 0);
    Record_bytes bytes{};
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[i] = static_cast<std::uint8_t>(word >> (8 * i));
    }
    bytes[4] = record.length;
    std::copy(record.data.begin(), record.data.end(), bytes.begin() + 5);
    return bytes;
}

std::optional<Record> decode(std::span<const std::uint8_t> bytes) noexcept
{
    if (bytes.size() < record_size || bytes[4] > 8) {
        return std::nullopt;
    }
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        word |= static_cast<std::uint32_t>(bytes[i]) << (8 * i);
    }
    Record record;
    record.identifier = word & identifier_mask;
    record.error = (word & error_bit) != 0;
    record.remote = (word & remote_bit) != 0;
    record.extended = (word & extended_bit) != 0;
    record.length = bytes[4];
    std::copy_n(bytes.begin() + 5, record.length, record.data.begin());
    return record;
}

} // namespace bench
