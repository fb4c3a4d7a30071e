#pragma once

#include <cstdint>
#include <span>

#include "comm/message.h"
#include "framework/byte_array.h"

namespace qv::can_bus::frame::message {

/// The destination of a frame for which none is known.
inline constexpr std::uint8_t null_address = 254;

/// A frame came from the bus. Posted by the bus thread and the router client; frame dispatch listens.
class Received : public comm::message::Cloneable<Received> {
public:
    static constexpr comm::message::Id id = 0x4001B;
    Received(std::span<const std::uint8_t> bytes, std::uint32_t can_identifier, bool is_error = false,
             bool is_extended = true, bool is_remote = false)
        : Received(id, bytes, can_identifier, is_error, is_extended, is_remote)
    {}

    Byte_array data;
    std::uint32_t length;
    std::uint32_t identifier; ///< the 29-bit CAN identifier
    bool error;
    bool extended;
    bool remote;

protected:
    Received(comm::message::Id derived_id, std::span<const std::uint8_t> bytes, std::uint32_t can_identifier,
             bool is_error, bool is_extended, bool is_remote)
        : Cloneable<Received>(derived_id)
        , data(bytes)
        , length(static_cast<std::uint32_t>(bytes.size()))
        , identifier(can_identifier)
        , error(is_error)
        , extended(is_extended)
        , remote(is_remote)
    {}
};

/// A frame is to leave. Posted by a local ECU; the bus thread hands it to the device.
class Transmitted final : public comm::message::Cloneable<Transmitted, Received> {
public:
    static constexpr comm::message::Id id = 0x4001C;
    Transmitted(std::span<const std::uint8_t> bytes, std::uint32_t can_identifier,
                std::uint8_t destination_address)
        : Cloneable<Transmitted, Received>(id, bytes, can_identifier, false, true, false)
        , destination(destination_address)
    {}

    std::uint8_t destination; ///< destination address, 255 for all
};

} // namespace qv::can_bus::frame::message
