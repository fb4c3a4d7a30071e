#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "comm/message.h"
#include "framework/byte_array.h"

namespace qv::can_bus::node {
class Node;
} // namespace qv::can_bus::node

namespace qv::can_bus::pdu {

/// The addresses that are no address [ISO 11783-5 4.4.4.2].
inline constexpr std::uint32_t null_address = 254;
inline constexpr std::uint32_t global_address = 255;

/// Parameter group numbers that the stack handles itself.
namespace pgn {
inline constexpr std::uint32_t maximum = 0x3FFFF; ///< 18 bits; message ids of the system begin above
inline constexpr std::uint32_t extended_transport_data = 0xC700;
inline constexpr std::uint32_t extended_transport_connection = 0xC800;
inline constexpr std::uint32_t memory_access_data = 0xD700;
inline constexpr std::uint32_t memory_access_response = 0xD800;
inline constexpr std::uint32_t memory_access_request = 0xD900;
inline constexpr std::uint32_t acknowledgment = 0xE800;
inline constexpr std::uint32_t request = 0xEA00;
inline constexpr std::uint32_t transport_data = 0xEB00;
inline constexpr std::uint32_t transport_connection = 0xEC00;
inline constexpr std::uint32_t address_claimed = 0xEE00;
inline constexpr std::uint32_t proprietary_a = 0xEF00;
inline constexpr std::uint32_t product_identification = 0xFC8D;
inline constexpr std::uint32_t control_function_functionalities = 0xFC8E;
inline constexpr std::uint32_t diagnostic_protocol = 0xFD32;
inline constexpr std::uint32_t compliance_certification = 0xFD42;
inline constexpr std::uint32_t ecu_identification = 0xFDC5;
inline constexpr std::uint32_t working_set_member = 0xFE0C;
inline constexpr std::uint32_t working_set_master = 0xFE0D;
inline constexpr std::uint32_t wheel_speed_distance = 0xFE48;
inline constexpr std::uint32_t ground_speed_distance = 0xFE49;
inline constexpr std::uint32_t trouble_codes_active = 0xFECA;
inline constexpr std::uint32_t trouble_codes_previous_active = 0xFECB;
inline constexpr std::uint32_t trouble_codes_reset_previous_active = 0xFECC;
inline constexpr std::uint32_t software_identification = 0xFEDA;
inline constexpr std::uint32_t component_identification = 0xFEEB;
inline constexpr std::uint32_t proprietary_b_gateway = 0xFFA1;
} // namespace pgn

/// One complete parameter group: a single frame or a reassembled transport message [ISO 11783-3 5.2].
/// Its message id is its parameter group number.
///
/// Thread: the bus thread.
class PDU final : public comm::message::Message {
public:
    PDU() = default;
    /// From a frame: splits the 29-bit identifier [ISO 11783-3 5.2.1]. The priority is not kept.
    PDU(std::uint32_t identifier, Byte_array payload);

    std::unique_ptr<Message> clone() const override;
    comm::message::Id get_assigned_id() const noexcept override { return pgn; }

    Byte_array data;
    std::uint32_t length = 0;                   ///< bytes of data
    std::shared_ptr<node::Node> source_node;    ///< the sender, or the master of its working set; may be empty
    std::shared_ptr<node::Node> address_holder; ///< who held the source address when the PDU arrived
    std::uint32_t pgn = 0;                      ///< 18 bits
    std::uint32_t source_address = null_address;
    std::uint32_t destination_address = null_address; ///< 254 for a PDU2, which has none
    bool pdu1 = false;                                ///< the PDU format byte is below 240
    bool global = true;                               ///< a PDU2, or a PDU1 to 255
};

/// Whether the PDU has exactly `size` bytes.
inline bool has_size(const PDU& pdu, std::uint32_t size) { return pdu.length == size && pdu.data.size() == size; }

/// Whether `pgn` is destination specific by its PDU format byte.
constexpr bool is_pdu1(std::uint32_t pgn) noexcept { return (pgn & 0xFF00) < 0xF000; }

/// The 29-bit identifier of a frame to send. The destination counts only for a PDU1.
constexpr std::uint32_t identifier(std::uint32_t priority, std::uint32_t pgn, std::uint32_t destination,
                                   std::uint32_t source) noexcept
{
    return (priority << 26) + ((is_pdu1(pgn) ? pgn + destination : pgn) << 8) + source;
}

/// The payload of a request for `pgn` [ISO 11783-3 5.4.2].
constexpr std::array<std::uint8_t, 3> request_payload(std::uint32_t pgn) noexcept
{
    return {static_cast<std::uint8_t>(pgn), static_cast<std::uint8_t>(pgn >> 8),
            static_cast<std::uint8_t>(pgn >> 16)};
}

/// One line for the log: PGN, addresses, length, bytes, characters.
std::string text(const PDU& pdu);

} // namespace qv::can_bus::pdu
