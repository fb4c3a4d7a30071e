#include "can/network/nmea_2000/decode.h"

#include <concepts>
#include <cstddef>
#include <type_traits>

namespace qv::can_bus::nmea_2000 {

namespace {

constexpr std::uint8_t count_maximum = 252; ///< above it stand "reserved", "error" and "not available"
constexpr std::uint16_t time_step = 50;     ///< 0.0001 s in one step of a time delta

/// The number of `Size` bytes at `first`, which `bytes` holds.
template <std::integral Number, std::size_t Size = sizeof(Number)> Number number(Bytes bytes, std::size_t first)
{
    std::uint64_t value = 0;
    for (std::size_t index = 0; index < Size; ++index) {
        value |= std::uint64_t{bytes[first + index]} << (8 * index);
    }
    if constexpr (std::is_signed_v<Number>) {
        constexpr std::size_t unused = 64 - 8 * Size; // brings the sign to the top and back
        return static_cast<Number>(static_cast<std::int64_t>(value << unused) >> unused);
    } else {
        return static_cast<Number>(value);
    }
}

template <std::integral Number> void read(Bytes bytes, std::size_t first, Number& field)
{
    field = number<Number>(bytes, first);
}

/// The field of `width` bits from bit `first` on.
std::uint8_t bits(std::uint8_t byte, unsigned first, unsigned width)
{
    return static_cast<std::uint8_t>(byte >> first & ((1U << width) - 1));
}

std::int64_t number_of_24_bits(Bytes bytes, std::size_t first) { return number<std::int32_t, 3>(bytes, first); }

/// From 0.00001 arc seconds, 36 of which are 0.0000001 degrees, to 1e-16 degrees; half away from zero.
std::int64_t angle(std::int64_t raw) { return (raw * 1000000000 + (raw >= 0 ? 18 : -18)) / 36; }

/// How many elements follow a count.
std::size_t listed(std::uint8_t count) { return count <= count_maximum ? count : 0; }

message::Position_data::Reference_station reference_station(Bytes bytes)
{
    message::Position_data::Reference_station station;
    station.type = bits(bytes[0], 0, 4);
    station.id = static_cast<std::uint16_t>(number<std::uint16_t>(bytes, 0) >> 4);
    read(bytes, 2, station.age);
    return station;
}

message::Satellites_in_view::Satellite satellite(Bytes bytes)
{
    message::Satellites_in_view::Satellite satellite;
    satellite.prn = bytes[0];
    read(bytes, 1, satellite.elevation);
    read(bytes, 3, satellite.azimuth);
    read(bytes, 5, satellite.snr);
    read(bytes, 7, satellite.range_residual);
    satellite.status = bits(bytes[11], 0, 4);
    return satellite;
}

/// Reads `count` elements of `size` bytes that fill `bytes` from the front. False when they do not fit.
template <class Element>
bool read_list(Bytes bytes, std::size_t count, std::size_t size, Element (*element)(Bytes),
               std::vector<Element>& list)
{
    if (bytes.size() < count * size) {
        return false;
    }
    list.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        list.push_back(element(bytes.subspan(index * size, size)));
    }
    return true;
}

} // namespace

void decode(Frame bytes, message::System_time& position)
{
    position.sid = bytes[0];
    position.source = bits(bytes[1], 0, 4);
    read(bytes, 2, position.date);
    read(bytes, 4, position.time);
}

void decode(Frame bytes, message::Rate_of_turn& position)
{
    position.sid = bytes[0];
    read(bytes, 1, position.rate);
}

void decode(Frame bytes, message::Attitude& position)
{
    position.sid = bytes[0];
    read(bytes, 1, position.yaw);
    read(bytes, 3, position.pitch);
    read(bytes, 5, position.roll);
}

void decode(Frame bytes, message::Position_rapid_update& position)
{
    read(bytes, 0, position.latitude);
    read(bytes, 4, position.longitude);
}

void decode(Frame bytes, message::COG_sog_rapid_update& position)
{
    position.sid = bytes[0];
    position.reference = bits(bytes[1], 0, 2);
    read(bytes, 2, position.course);
    read(bytes, 4, position.speed);
}

void decode(Frame bytes, message::Position_delta_high_precision_rapid_update& position)
{
    position.sid = bytes[0];
    position.time_delta = static_cast<std::uint16_t>(bytes[1] * time_step);
    position.latitude_delta = angle(number_of_24_bits(bytes, 2));
    position.longitude_delta = angle(number_of_24_bits(bytes, 5));
}

void decode(Frame bytes, message::Altitude_delta_high_precision_rapid_update& position)
{
    position.sid = bytes[0];
    position.time_delta = static_cast<std::uint16_t>(bytes[1] * time_step);
    position.quality = bits(bytes[2], 0, 4);
    position.direction = bits(bytes[2], 4, 2);
    read(bytes, 3, position.course);
    position.altitude_delta = number_of_24_bits(bytes, 5) * 1000;
}

bool decode(Bytes bytes, message::Position_data& position)
{
    constexpr std::size_t fields_size = 43;
    constexpr std::size_t station_size = 4;
    if (bytes.size() < fields_size) {
        return false;
    }
    position.sid = bytes[0];
    read(bytes, 1, position.date);
    read(bytes, 3, position.time);
    read(bytes, 7, position.latitude);
    read(bytes, 15, position.longitude);
    read(bytes, 23, position.altitude);
    position.type = bits(bytes[31], 0, 4);
    position.method = bits(bytes[31], 4, 4);
    position.integrity = bits(bytes[32], 0, 2);
    position.number_of_satellites = bytes[33];
    read(bytes, 34, position.hdop);
    read(bytes, 36, position.pdop);
    read(bytes, 38, position.geoidal_separation);
    position.number_of_reference_stations = bytes[42];
    return read_list(bytes.subspan(fields_size), listed(bytes[42]), station_size, &reference_station,
                     position.reference_stations);
}

void decode(Frame bytes, message::Time_date& position)
{
    read(bytes, 0, position.date);
    read(bytes, 2, position.time);
    read(bytes, 6, position.local_offset);
}

void decode(Frame bytes, message::Cross_track_error& position)
{
    position.sid = bytes[0];
    position.mode = bits(bytes[1], 0, 4);
    position.navigation_terminated = bits(bytes[1], 6, 2);
    read(bytes, 2, position.error);
}

void decode(Frame bytes, message::DOPs& position)
{
    position.sid = bytes[0];
    position.desired_mode = bits(bytes[1], 0, 3);
    position.actual_mode = bits(bytes[1], 3, 3);
    read(bytes, 2, position.hdop);
    read(bytes, 4, position.vdop);
    read(bytes, 6, position.tdop);
}

bool decode(Bytes bytes, message::Satellites_in_view& position)
{
    constexpr std::size_t fields_size = 3;
    constexpr std::size_t satellite_size = 12;
    if (bytes.size() < fields_size) {
        return false;
    }
    position.sid = bytes[0];
    position.mode = bits(bytes[1], 0, 2);
    position.number_of_satellites = bytes[2];
    return read_list(bytes.subspan(fields_size), listed(bytes[2]), satellite_size, &satellite,
                     position.satellites);
}

bool decode(Bytes bytes, message::AIS_dgnss_broadcast_binary& position)
{
    constexpr std::size_t fields_size = 17;
    if (bytes.size() < fields_size) {
        return false;
    }
    position.message_id = bits(bytes[0], 0, 6);
    position.repeat_indicator = bits(bytes[0], 6, 2);
    read(bytes, 1, position.source_id);
    position.transceiver_information = bits(bytes[5], 1, 5);
    read(bytes, 6, position.longitude);
    read(bytes, 10, position.latitude);
    read(bytes, 15, position.number_of_bits);
    const Bytes rest = bytes.subspan(fields_size);
    const std::uint32_t size = (position.number_of_bits + 7U) / 8;
    return size <= rest.size() && position.binary_data.assign(rest.data(), size);
}

} // namespace qv::can_bus::nmea_2000
