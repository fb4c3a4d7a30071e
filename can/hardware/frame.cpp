#include "can/hardware/frame.h"

#include <algorithm>

#include "can/hardware/message.h"

namespace qv::can_bus::frame {

namespace {

// The identifier word.
constexpr std::uint32_t identifier_mask = 0x1FFFFFFF;
constexpr std::uint32_t error_bit = 1U << 29;
constexpr std::uint32_t remote_bit = 1U << 30;
constexpr std::uint32_t extended_bit = 1U << 31;

constexpr std::size_t length_offset = 4;
constexpr std::size_t data_offset = 5;

} // namespace

std::optional<Frame> Frame::decode(std::span<const std::uint8_t, record_size> record)
{
    const std::uint32_t length = record[length_offset];
    if (length > hardware::data_length_maximum) {
        return std::nullopt;
    }
    std::uint32_t word = 0;
    for (std::size_t index = length_offset; index-- > 0;) {
        word = (word << 8) | record[index];
    }
    Frame frame;
    frame.data.assign(record.data() + data_offset, length);
    frame.length = length;
    frame.identifier = word & identifier_mask;
    frame.error = (word & error_bit) != 0;
    frame.extended = (word & extended_bit) != 0;
    frame.remote = (word & remote_bit) != 0;
    return frame;
}

Frame::Record Frame::encode() const
{
    Record record{};
    std::uint32_t word = (identifier & identifier_mask) | (error ? error_bit : 0) | (remote ? remote_bit : 0) |
                         (extended ? extended_bit : 0);
    for (std::size_t index = 0; index < length_offset; ++index, word >>= 8) {
        record[index] = static_cast<std::uint8_t>(word);
    }
    const std::uint32_t count = std::min(data.size(), hardware::data_length_maximum);
    record[length_offset] = static_cast<std::uint8_t>(count);
    std::copy_n(data.data(), count, record.begin() + data_offset);
    return record;
}

} // namespace qv::can_bus::frame
