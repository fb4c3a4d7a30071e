#include "can/network/nmea_2000/pdu_observer.h"

#include <cstdint>
#include <utility>

#include "can/network/nmea_2000/decode.h"
#include "can/network/nmea_2000/message.h"
#include "can/network/node/node.h"
#include "comm/master.h"

namespace qv::can_bus::nmea_2000 {

namespace {

constexpr std::size_t frame_size = 8;

/// Whether a PDU has a known sender, and all of its bytes.
bool is_complete(const pdu::PDU& pdu) { return pdu.source_node && pdu.length == pdu.data.size(); }

} // namespace

PDU_observer::PDU_observer(comm::dispatcher::Dispatcher_id pdu_dispatcher_id,
                           comm::dispatcher::Dispatcher_id bus_dispatcher_id)
    : Observer_dispatcher_id(pdu_dispatcher_id)
    , bus_dispatcher_id_(bus_dispatcher_id)
    , fast_packets_(std::make_shared<tp::rx::fast_packet::Manager>(bus_dispatcher_id))
{}

// clang-format off
template <class Visit> void PDU_observer::for_each_subscription(Visit visit)
{
    using namespace message;
    visit(126992, &PDU_observer::on_frame<System_time>);
    visit(127251, &PDU_observer::on_frame<Rate_of_turn>);
    visit(127257, &PDU_observer::on_frame<Attitude>);
    visit(129025, &PDU_observer::on_frame<Position_rapid_update>);
    visit(129026, &PDU_observer::on_frame<COG_sog_rapid_update>);
    visit(129027, &PDU_observer::on_frame<Position_delta_high_precision_rapid_update>);
    visit(129028, &PDU_observer::on_frame<Altitude_delta_high_precision_rapid_update>);
    visit(129029, &PDU_observer::on_fast_packet<Position_data>);
    visit(129033, &PDU_observer::on_frame<Time_date>);
    visit(129283, &PDU_observer::on_frame<Cross_track_error>);
    visit(129539, &PDU_observer::on_frame<DOPs>);
    visit(129540, &PDU_observer::on_fast_packet<Satellites_in_view>);
    visit(129792, &PDU_observer::on_fast_packet<AIS_dgnss_broadcast_binary>);
}
// clang-format on

void PDU_observer::subscribe()
{
    for_each_subscription([this](std::uint32_t pgn, auto handler) { add(pgn, handler); });
    fast_packets_->subscribe();
}

void PDU_observer::unsubscribe()
{
    fast_packets_->unsubscribe();
    for_each_subscription([this](std::uint32_t pgn, auto) { remove(pgn); });
}

template <class Position> void PDU_observer::on_frame(comm::message::Message& message)
{
    const auto& pdu = dynamic_cast<const pdu::PDU&>(message);
    if (!is_complete(pdu) || pdu.length != frame_size) {
        return;
    }
    auto position = std::make_unique<Position>(pdu.source_node->name());
    decode(pdu.data.bytes().first<frame_size>(), *position);
    comm::post_to(bus_dispatcher_id_, std::move(position));
}

template <class Position> void PDU_observer::on_fast_packet(comm::message::Message& message)
{
    const auto& pdu = dynamic_cast<const pdu::PDU&>(message);
    if (!is_complete(pdu)) {
        return;
    }
    if (pdu.length == frame_size) {
        fast_packets_->on_frame(pdu);
        return;
    }
    auto position = std::make_unique<Position>(pdu.source_node->name());
    if (decode(pdu.data.bytes(), *position)) {
        comm::post_to(bus_dispatcher_id_, std::move(position));
    }
}

} // namespace qv::can_bus::nmea_2000
