#include "can/network/nmea_2000/pdu_observer.h"

#include "can/network/nmea_2000/message.h"
#include "can/network/node/test_kit.h"
#include "can/network/pdu/message_assigned_id.h"

namespace qv::can_bus::nmea_2000 {
namespace {

using namespace message;
using test::hex;

constexpr name::Name receiver_name = 0xA000170012E00001;

/// The fields of a message in the order of the wire, those of a list behind the others.
using Values = std::vector<std::int64_t>;

// clang-format off
Values values_of(const System_time& m) { return {m.sid, m.source, m.date, m.time}; }
Values values_of(const Rate_of_turn& m) { return {m.sid, m.rate}; }
Values values_of(const Attitude& m) { return {m.sid, m.yaw, m.pitch, m.roll}; }
Values values_of(const Position_rapid_update& m) { return {m.latitude, m.longitude}; }
Values values_of(const COG_sog_rapid_update& m) { return {m.sid, m.reference, m.course, m.speed}; }
Values values_of(const Position_delta_high_precision_rapid_update& m)
{ return {m.sid, m.time_delta, m.latitude_delta, m.longitude_delta}; }
Values values_of(const Altitude_delta_high_precision_rapid_update& m)
{ return {m.sid, m.time_delta, m.quality, m.direction, m.course, m.altitude_delta}; }
Values values_of(const Time_date& m) { return {m.date, m.time, m.local_offset}; }
Values values_of(const Cross_track_error& m) { return {m.sid, m.mode, m.navigation_terminated, m.error}; }
Values values_of(const DOPs& m) { return {m.sid, m.desired_mode, m.actual_mode, m.hdop, m.vdop, m.tdop}; }
Values values_of(const Position_data& m)
{
    Values values{m.sid, m.date, m.time, m.latitude, m.longitude, m.altitude, m.type, m.method, m.integrity,
                  m.number_of_satellites, m.hdop, m.pdop, m.geoidal_separation, m.number_of_reference_stations};
    for (const auto& station : m.reference_stations) {
        values.insert(values.end(), {station.type, station.id, station.age});
    }
    return values;
}
// clang-format on
Values values_of(const Satellites_in_view& m)
{
    Values values{m.sid, m.mode, m.number_of_satellites};
    for (const auto& s : m.satellites) {
        values.insert(values.end(), {s.prn, s.elevation, s.azimuth, s.snr, s.range_residual, s.status});
    }
    return values;
}
Values values_of(const AIS_dgnss_broadcast_binary& m)
{
    Values values{m.message_id, m.repeat_indicator, m.source_id,     m.transceiver_information,
                  m.longitude,  m.latitude,         m.number_of_bits};
    values.insert(values.end(), m.binary_data.bytes().begin(), m.binary_data.bytes().end());
    return values;
}

// clang-format off
const struct { std::uint32_t pgn; const char* bytes; comm::message::Id id; Values values; } rows[] = {
    {126992, "11 F5 22 33 44 55 66 77", 0x4002A, {17, 5, 13090, 2003195204}},
    {127251, "11 FF FF FF FF 00 00 00", 0x40028, {17, -1}},
    {127251, "11 00 00 00 80 FF FF FF", 0x40028, {17, -2147483648LL}},
    {127257, "11 01 80 02 00 FF FF 00", 0x40021, {17, -32767, 2, -1}},
    {129025, "40 E2 01 00 FF FF FF FF", 0x40027, {123456, -1}},
    {129026, "11 FE 34 12 FF FF 00 00", 0x40022, {17, 2, 4660, 65535}},
    {129027, "11 FF FF FF FF 01 00 00", 0x40026, {17, 12750, -27777778, 27777778}},
    {129027, "11 02 00 00 80 FF FF 7F", 0x40026, {17, 100, -233016888888889, 233016861111111}},
    {129027, "11 00 00 00 00 24 00 00", 0x40026, {17, 0, 0, 1000000000}},
    {129028, "11 02 2D 34 12 FF FF FF", 0x40020, {17, 100, 13, 2, 4660, -1000}},
    {129028, "11 FF D0 00 00 FF FF 7F", 0x40020, {17, 12750, 0, 1, 0, 8388607000}},
    {129029, "11 22 11 44 33 22 11 "       // sid, date, time
             "01 00 00 00 00 00 00 80 "    // latitude
             "FF FF FF FF FF FF FF FF "    // longitude
             "02 00 00 00 01 00 00 00 "    // altitude
             "52 FE 0C 34 12 FE FF "       // type and method, integrity, satellites, HDOP, PDOP
             "FD FF FF FF 02 "             // geoidal separation, reference stations
             "F4 12 01 00 0F 00 FF FF",
     0x40025, {17, 4386, 287454020, -9223372036854775807, -1, 4294967298, 2, 5, 2, 12, 4660, -2, -3, 2,
               4, 303, 1, 15, 0, 65535}},
    {129033, "22 11 44 33 22 11 FE FF", 0x4002B, {4386, 287454020, -2}},
    {129283, "11 B5 FE FF FF FF 00 00", 0x40023, {17, 5, 2, -2}},
    {129539, "11 EA 01 00 FF FF 00 80", 0x40024, {17, 2, 5, 1, -1, -32768}},
    {129540, "11 FD 02 "
             "05 FF FF 34 12 FE FF FD FF FF FF F7 "
             "06 01 00 FF FF 02 00 03 00 00 00 00",
     0x40029, {17, 1, 2, 5, -1, 4660, -2, -3, 7, 6, 1, 65535, 2, 3, 0}},
    {129792, "91 44 33 22 11 FD FE FF FF FF 03 00 00 00 EE 09 00 AA BB",
     0x40103, {17, 2, 287454020, 30, -2, 3, 9, 170, 187}},
};
// clang-format on

/// The observer between two dispatchers, and one receiver on the bus.
class Nmea_2000_test : public test::Node_bus_test {
protected:
    using Told = std::vector<std::pair<comm::message::Id, Values>>;

    Nmea_2000_test()
    {
        ears_.add(std::make_shared<PDU_observer>(pdu_dispatcher_->id(), bus_dispatcher_->id()));
        listen(bus_dispatcher_, {pdu::Message_assigned_id::id}, [this](auto& message) {
            pdu_dispatcher_->notify(*dynamic_cast<pdu::Message_assigned_id&>(message).pdu);
        });
        hear<System_time, Rate_of_turn, Attitude, Position_rapid_update, COG_sog_rapid_update,
             Position_delta_high_precision_rapid_update, Altitude_delta_high_precision_rapid_update, Position_data,
             Time_date, Cross_track_error, DOPs, Satellites_in_view, AIS_dgnss_broadcast_binary>();
    }
    template <class... Positions> void hear()
    {
        (listen(bus_dispatcher_, {Positions::id},
                [this](auto& message) {
                    const auto& position = dynamic_cast<Positions&>(message);
                    EXPECT_EQ(position.name, receiver_name);
                    told_.push_back({position.id, values_of(position)});
                }),
         ...);
    }
    /// What comes of a PDU at once.
    Told send(std::uint32_t pgn, std::span<const std::uint8_t> bytes, bool known = true)
    {
        pdu::PDU pdu(pdu::identifier(3, pgn, 255, 0x1C), Byte_array(bytes));
        pdu.source_node = known ? receiver_ : nullptr;
        pdu_dispatcher_->notify(pdu);
        drain();
        return std::exchange(told_, {});
    }

    std::shared_ptr<comm::Dispatcher> pdu_dispatcher_ = comm::create_dispatcher("pdu", false);
    std::shared_ptr<node::Node> receiver_ = node::Node::create(receiver_name, *this);
    Told told_;
};

TEST_F(Nmea_2000_test, tells_the_fields_of_each_whole_message_of_a_known_sender)
{
    for (const auto& row : rows) {
        const Byte_array whole = hex(row.bytes);
        EXPECT_EQ(send(row.pgn, whole.bytes()), (Told{{row.id, row.values}})) << row.pgn;
        EXPECT_EQ(send(row.pgn, whole.bytes(), false), Told{}) << row.pgn;
        for (std::uint32_t length = 0; length < whole.size(); ++length) {
            EXPECT_EQ(send(row.pgn, whole.bytes().first(length)), Told{}) << row.pgn << " cut at " << length;
        }
        const bool is_frame = whole.size() == 8;
        EXPECT_EQ(send(row.pgn, hex(std::string(row.bytes) + " 00").bytes()).size(), is_frame ? 0U : 1U)
            << row.pgn;
    }
    pass(200);
    EXPECT_EQ(told_, Told{}); // what is left of the fast packets
}

TEST_F(Nmea_2000_test, reads_a_list_of_as_many_as_the_count_tells_only_when_all_of_it_is_there)
{
    const struct {
        std::uint32_t pgn;
        std::size_t count_at, highest, size, item_size, values, item_values;
    } lists[] = {{129029, 42, 255, 43, 4, 14, 3}, {129540, 2, 255, 3, 12, 3, 6}, {129792, 15, 65535, 17, 1, 7, 1}};
    for (const auto& [pgn, count_at, highest, size, item_size, values, item_values] : lists) {
        for (std::size_t count = 0; count <= highest; count += count < 300 ? 1 : 251) {
            const bool counts_bits = highest > 255;
            const auto items = counts_bits   ? (count + 7) / 8
                               : count < 253 ? count
                                             : 0; // 253 and up: not available
            std::vector<std::uint8_t> bytes(size + items * item_size);
            bytes[count_at] = static_cast<std::uint8_t>(count);
            if (counts_bits) {
                bytes[count_at + 1] = static_cast<std::uint8_t>(count >> 8);
            }
            const Told told = send(pgn, bytes);
            EXPECT_TRUE(told.size() == 1 && told[0].second.size() == values + items * item_values)
                << pgn << " with " << count;
            EXPECT_EQ(send(pgn, std::span(bytes).first(bytes.size() - 1)), Told{}) << pgn << " with " << count;
        }
    }
}

} // namespace
} // namespace qv::can_bus::nmea_2000
