#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "framework/byte_array.h"

namespace qv::can_bus::frame {

/// One frame as it travels between the CAN router and its clients.
///
/// A record has 13 bytes: the identifier word, low byte first; the data length; 8 data bytes, of which those
/// beyond the length have no meaning. The stream has no marks between records.
struct Frame {
    static constexpr std::uint32_t record_size = 13;
    using Record = std::array<std::uint8_t, record_size>;

    /// Empty when the record's length byte is above 8: no CAN frame has that.
    static std::optional<Frame> decode(std::span<const std::uint8_t, record_size> record);
    Record encode() const;

    Byte_array data;
    std::uint32_t length = 0;     ///< bytes of data, up to 8
    std::uint32_t identifier = 0; ///< 29 bits
    bool error = false;
    bool extended = false;
    bool remote = false;
};

} // namespace qv::can_bus::frame
