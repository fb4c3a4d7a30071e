#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "framework/byte_array.h"

/// The messages of a memory access between a tool and an ECU [SAE J1939-73 5.7.14 to 5.7.16], byte by byte.
///
/// The service is the tool: it builds DM14 and DM16, and takes DM15 and DM16 apart.
namespace qv::can_bus::flr::memory_access {

/// Memory Access Request, DM14 [SAE J1939-73 5.7.14]: length (11 bits), pointer type, command, pointer, key.
using Request = std::array<std::uint8_t, 8>;

enum class Command : std::uint8_t { erase = 0, read = 1, write = 2, operation_completed = 4, boot_load = 6 };

/// What the pointer of a request means: an address of the memory, or an object of the ECU.
enum class Pointer_type : std::uint8_t { direct = 0, spatial = 1 };

/// The largest length that the 11 bits of a request hold.
inline constexpr std::uint16_t length_maximum = 0x7FF;

/// A request without a key. `length` is at most `length_maximum`.
constexpr Request request(Command command, Pointer_type type, std::uint16_t length, std::uint32_t pointer) noexcept
{
    const auto byte = [](std::uint32_t value) { return static_cast<std::uint8_t>(value & 0xFF); };
    return {byte(length),
            byte(((length & 0x700U) >> 3) + (static_cast<std::uint32_t>(type) << 4) +
                 (static_cast<std::uint32_t>(command) << 1) + 1),
            byte(pointer),
            byte(pointer >> 8),
            byte(pointer >> 16),
            byte(pointer >> 24),
            0,
            0};
}

/// Objects of a bootloader; each is 4 bytes long.
inline constexpr std::uint32_t checksum_pointer = 0xC0000001; ///< read: the checksum; written back: restart
inline constexpr std::uint32_t bit_rate_pointer = 0xC0000002; ///< written: the bit rate to go on with

/// The requests whose contents never change.
inline constexpr Request enter_bootloader = request(Command::boot_load, Pointer_type::direct, 1, 0x900);
inline constexpr Request read_checksum = request(Command::read, Pointer_type::spatial, 4, checksum_pointer);
inline constexpr Request reset_bootloader = request(Command::write, Pointer_type::spatial, 4, checksum_pointer);
inline constexpr Request change_bit_rate = request(Command::write, Pointer_type::spatial, 4, bit_rate_pointer);
inline constexpr Request close_exchange = request(Command::operation_completed, Pointer_type::spatial, 0, 0);

/// The request to erase the sector that begins at `start`.
Request erase_sector(std::uint32_t start) noexcept;
/// The announcement of `length` bytes for `address`.
Request write_chunk(std::uint16_t length, std::uint32_t address) noexcept;
/// Where the key of a request stands, behind what it asks for.
inline constexpr std::size_t key_position = 6;
/// Stores the answer to an access check in a request.
void set_key(Request& request, std::uint16_t key) noexcept;

/// What an ECU answers to a request.
enum class Answer {
    proceed,             ///< go on with the data, after the key when a seed came along
    busy,                ///< ask again later
    operation_completed, ///< done
    bootload_status,     ///< status 6: seen from bootloaders, of no effect
    failed,              ///< refused, and every status without a meaning of its own
};

/// Memory Access Response, DM15 [SAE J1939-73 5.7.15], as far as a tool needs it.
struct Response {
    static constexpr std::uint16_t no_key_needed = 0xFFFF;

    Answer answer = Answer::failed;
    std::uint16_t seed = no_key_needed;
};

/// Takes a DM15 apart. Empty for one of fewer than 8 bytes.
std::optional<Response> parse_response(std::span<const std::uint8_t> bytes) noexcept;

/// Binary Data Transfer, DM16 [SAE J1939-73 5.7.16], with a chunk of the image: below 8 bytes one frame that
/// tells the length and is padded with 0xFF, otherwise 0xFF and the data. Empty when memory is short.
std::unique_ptr<Byte_array> chunk_data(std::span<const std::uint8_t> chunk);
/// A DM16 with one 32-bit number.
std::array<std::uint8_t, 8> word_data(std::uint32_t value) noexcept;
/// The number of a DM16 that carries exactly 4 bytes; empty for any other.
std::optional<std::uint32_t> parse_word(std::span<const std::uint8_t> bytes) noexcept;

} // namespace qv::can_bus::flr::memory_access
