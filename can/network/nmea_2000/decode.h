#pragma once

#include <cstdint>
#include <span>

#include "can/network/nmea_2000/message.h"

/// The layout of the position groups [NMEA 2000, appendix B]. Numbers stand least significant byte first, bit 0 is
/// the lowest of its byte.
namespace qv::can_bus::nmea_2000 {

using Bytes = std::span<const std::uint8_t>;
using Frame = std::span<const std::uint8_t, 8>;

/// The groups of one frame fill all fields.
void decode(Frame bytes, message::System_time& position);
void decode(Frame bytes, message::Rate_of_turn& position);
void decode(Frame bytes, message::Attitude& position);
void decode(Frame bytes, message::Position_rapid_update& position);
void decode(Frame bytes, message::COG_sog_rapid_update& position);
void decode(Frame bytes, message::Position_delta_high_precision_rapid_update& position);
void decode(Frame bytes, message::Altitude_delta_high_precision_rapid_update& position);
void decode(Frame bytes, message::Time_date& position);
void decode(Frame bytes, message::Cross_track_error& position);
void decode(Frame bytes, message::DOPs& position);

/// The groups of any length: false when the bytes end before the fields, or before the list that they announce.
/// What `position` holds is undefined then.
[[nodiscard]] bool decode(Bytes bytes, message::Position_data& position);
[[nodiscard]] bool decode(Bytes bytes, message::Satellites_in_view& position);
[[nodiscard]] bool decode(Bytes bytes, message::AIS_dgnss_broadcast_binary& position);

} // namespace qv::can_bus::nmea_2000
