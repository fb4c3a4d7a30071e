#pragma once

#include <cstdint>
#include <vector>

#include "can/network/node/name_message.h"
#include "comm/message.h"
#include "framework/byte_array.h"

/// What GNSS receivers and other NMEA 2000 sources tell: a message for each group.
///
/// `PDU_observer` posts them to the bus's dispatcher. Fields keep the units of the wire, and also its marks for
/// "not available" (all bits set, or the highest positive number of a signed field). Dates are days since
/// 1970-01-01, times 0.0001 s since midnight, both UTC; latitudes and longitudes are positive to the north and
/// to the east. A `sid` ties together messages of one measurement.
namespace qv::can_bus::nmea_2000::message {

/// Base of all: adds the NAME of the sender, and the id.
template <class Derived, comm::message::Id assigned_id>
class Position_message : public comm::message::Cloneable<Derived, name::message::Message> {
public:
    static constexpr comm::message::Id id = assigned_id;
    explicit Position_message(name::Name source_name) noexcept
        : comm::message::Cloneable<Derived, name::message::Message>(assigned_id, source_name)
    {}
};

/// PGN 126992.
class System_time final : public Position_message<System_time, 0x4002A> {
public:
    using Position_message::Position_message;
    std::uint8_t sid = 0;
    std::uint8_t source = 0; ///< 4 bits: GPS, GLONASS, radio station, clocks
    std::uint16_t date = 0;
    std::uint32_t time = 0;
};

/// PGN 127251.
class Rate_of_turn final : public Position_message<Rate_of_turn, 0x40028> {
public:
    using Position_message::Position_message;
    std::uint8_t sid = 0;
    std::int32_t rate = 0; ///< 1/32 of 0.000001 rad/s, positive to starboard
};

/// PGN 127257. Angles in 0.0001 rad.
class Attitude final : public Position_message<Attitude, 0x40021> {
public:
    using Position_message::Position_message;
    std::uint8_t sid = 0;
    std::int16_t yaw = 0;
    std::int16_t pitch = 0;
    std::int16_t roll = 0;
};

/// PGN 129025.
class Position_rapid_update final : public Position_message<Position_rapid_update, 0x40027> {
public:
    using Position_message::Position_message;
    std::int32_t latitude = 0;  ///< 1e-7 degrees
    std::int32_t longitude = 0; ///< 1e-7 degrees
};

/// PGN 129026: course and speed over ground.
class COG_sog_rapid_update final : public Position_message<COG_sog_rapid_update, 0x40022> {
public:
    using Position_message::Position_message;
    std::uint8_t sid = 0;
    std::uint8_t reference = 3; ///< of the course: 0 true north, 1 magnetic north, 2 error, 3 not available
    std::uint16_t course = 0;   ///< 0.0001 rad
    std::uint16_t speed = 0;    ///< 0.01 m/s
};

/// PGN 129027: the way since the last `Position_data`.
class Position_delta_high_precision_rapid_update final
    : public Position_message<Position_delta_high_precision_rapid_update, 0x40026> {
public:
    using Position_message::Position_message;
    std::uint8_t sid = 0;
    std::uint16_t time_delta = 0;     ///< 0.0001 s; the wire has steps of 50
    std::int64_t latitude_delta = 0;  ///< 1e-16 degrees as in `Position_data`; the wire has 0.00001 arc seconds
    std::int64_t longitude_delta = 0; ///< likewise
};

/// PGN 129028: the rise since the last `Position_data`.
class Altitude_delta_high_precision_rapid_update final
    : public Position_message<Altitude_delta_high_precision_rapid_update, 0x40020> {
public:
    using Position_message::Position_message;
    std::uint8_t sid = 0;
    std::uint16_t time_delta = 0;    ///< 0.0001 s; the wire has steps of 50
    std::uint8_t quality = 0;        ///< 4 bits, as `Position_data::method`
    std::uint8_t direction = 3;      ///< of the course: 0 true north, 1 magnetic north, 2 error, 3 not available
    std::uint16_t course = 0;        ///< 0.0001 rad
    std::int64_t altitude_delta = 0; ///< 1e-6 m as in `Position_data`; the wire has 0.001 m
};

/// PGN 129029, a fast packet of 43 bytes and 4 for each reference station.
class Position_data final : public Position_message<Position_data, 0x40025> {
public:
    struct Reference_station {
        std::uint8_t type = 15; ///< 4 bits, as `Position_data::type`
        std::uint16_t id = 0;   ///< 12 bits
        std::uint16_t age = 0;  ///< of the corrections, 0.01 s
    };
    using Position_message::Position_message;
    std::uint8_t sid = 0;
    std::uint16_t date = 0;
    std::uint32_t time = 0;
    std::int64_t latitude = 0;  ///< 1e-16 degrees
    std::int64_t longitude = 0; ///< 1e-16 degrees
    std::int64_t altitude = 0;  ///< 1e-6 m
    std::uint8_t type = 0;      ///< 4 bits: GPS, GLONASS, both, with SBAS, ...
    std::uint8_t method = 0;    ///< 4 bits: 0 no fix, 1 GNSS, 2 DGNSS, 3 precise, 4 RTK, 5 RTK float, ...
    std::uint8_t integrity = 0; ///< 2 bits: 0 not checked, 1 safe, 2 caution
    std::uint8_t number_of_satellites = 0;         ///< used for the fix
    std::int16_t hdop = 0;                         ///< 0.01
    std::int16_t pdop = 0;                         ///< 0.01
    std::int32_t geoidal_separation = 0;           ///< 0.01 m
    std::uint8_t number_of_reference_stations = 0; ///< as told; from 253 on the list is empty
    std::vector<Reference_station> reference_stations;
};

/// PGN 129033.
class Time_date final : public Position_message<Time_date, 0x4002B> {
public:
    using Position_message::Position_message;
    std::uint16_t date = 0;
    std::uint32_t time = 0;
    std::int16_t local_offset = 0; ///< minutes
};

/// PGN 129283.
class Cross_track_error final : public Position_message<Cross_track_error, 0x40023> {
public:
    using Position_message::Position_message;
    std::uint8_t sid = 0;
    std::uint8_t mode = 0;                  ///< 4 bits: autonomous, differential, estimated, simulator, manual
    std::uint8_t navigation_terminated = 0; ///< 2 bits: 0 no, 1 yes
    std::int32_t error = 0;                 ///< 0.01 m
};

/// PGN 129539: dilution of precision.
class DOPs final : public Position_message<DOPs, 0x40024> {
public:
    using Position_message::Position_message;
    std::uint8_t sid = 0;
    std::uint8_t desired_mode = 7; ///< 3 bits: 0 1D, 1 2D, 2 3D, 3 automatic
    std::uint8_t actual_mode = 7;  ///< likewise
    std::int16_t hdop = 0;         ///< 0.01, as the two below
    std::int16_t vdop = 0;
    std::int16_t tdop = 0;
};

/// PGN 129540, a fast packet of 3 bytes and 12 for each satellite.
class Satellites_in_view final : public Position_message<Satellites_in_view, 0x40029> {
public:
    struct Satellite {
        std::uint8_t prn = 0;
        std::int16_t elevation = 0;      ///< 0.0001 rad
        std::uint16_t azimuth = 0;       ///< 0.0001 rad
        std::int16_t snr = 0;            ///< 0.01 dB
        std::int32_t range_residual = 0; ///< 0.00001 m
        std::uint8_t status = 15;        ///< 4 bits: tracked, used, with corrections
    };
    using Position_message::Position_message;
    std::uint8_t sid = 0;
    std::uint8_t mode = 3;                 ///< 2 bits: of the range residuals
    std::uint8_t number_of_satellites = 0; ///< as told; from 253 on the list is empty
    std::vector<Satellite> satellites;
};

/// PGN 129792, a fast packet of 17 bytes and the binary data: corrections sent out by an AIS station.
class AIS_dgnss_broadcast_binary final : public Position_message<AIS_dgnss_broadcast_binary, 0x40103> {
public:
    using Position_message::Position_message;
    std::uint8_t message_id = 0;              ///< 6 bits
    std::uint8_t repeat_indicator = 0;        ///< 2 bits
    std::uint32_t source_id = 0;              ///< MMSI of the station
    std::uint8_t transceiver_information = 0; ///< 5 bits
    std::int32_t longitude = 0;
    std::int32_t latitude = 0;
    std::uint16_t number_of_bits = 0; ///< of the binary data
    Byte_array binary_data;           ///< as many bytes as these bits need
};

} // namespace qv::can_bus::nmea_2000::message
