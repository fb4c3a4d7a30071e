#pragma once

#include <cstdint>

namespace qv::can_bus::flr {

/// Where a session stands. What a state waits for is told behind it; a "run" comes with each tick of a second
/// while no exchange is open, and with each exchange that the ECU completes.
enum class State : std::int32_t {
    BL_IDLE = 0,               ///< no session; waits for `start_update`
    BL_START = 1,              ///< a target is chosen; the next run asks it into its bootloader
    BL_BOOTLOADER_PENDING = 2, ///< waits for the bootloader's heartbeat, or for `countdown` runs
    BL_BOOTLOADER = 3,         ///< the bootloader is up; the next run begins to erase
    BL_PARSING = 4,            ///< never entered
    BL_ERASING = 5,            ///< waits for a sector to be erased
    BL_PROGRAMMING = 6,        ///< waits for a chunk to be written, or for a wireless node to install
    BL_RESTART = 7,            ///< asks for the restart and waits for Proceed
    BL_READ_CHECKSUM = 8,      ///< waits for the checksum
    BL_COMPLETE = 9,           ///< success; the next run cleans up
    BL_FAILURE = 10,           ///< waits for the acknowledgement
    BL_COMPLETE_ACK = 11,      ///< success, cleaned up; waits for the acknowledgement
    BL_BAUD_REQUEST = 12,      ///< the next run asks for the other bit rate
    BL_BAUD_PENDING = 13,      ///< waits for Proceed, `countdown` runs at most
    BL_BAUD_LOCAL = 14,        ///< the next run changes the own bit rate
    BL_BAUD_SETTLE = 15,       ///< waits for the bus to settle
    BL_RESTART_PENDING = 16,   ///< waits for the ECU's software identification, or for `countdown` runs
    BL_TRANSFERRING = 17,      ///< waits for the upload to a wireless node
    BL_TARGET_SEARCH = 18,     ///< waits for an ECU that the file of the command line fits
};

/// Failure codes that a session sets itself.
namespace failure {
inline constexpr std::uint32_t other = 2; ///< failure without a code of its own
inline constexpr std::uint32_t not_installed = 4;
inline constexpr std::uint32_t not_returned = 11;
inline constexpr std::uint32_t no_image = 23;
inline constexpr std::uint32_t no_worker = 27;
} // namespace failure

} // namespace qv::can_bus::flr
