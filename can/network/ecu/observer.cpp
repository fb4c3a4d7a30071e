#include "can/network/ecu/observer.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <memory>
#include <string>

#include "can/network/ecu/address_claim.h"
#include "can/network/ecu/ecu.h"
#include "can/network/ecu/ecu_message.h"
#include "can/network/node/manager.h"
#include "can/network/tp/manager.h"
#include "comm/time_message.h"
#include "framework/thread/clock.h"

namespace qv::can_bus::ecu {

namespace {

using comm::message::time_elapsed::Time_elapsed;

constexpr std::uint32_t priority = 6;
constexpr std::uint32_t debug_pgn = 0xFFFF;
constexpr std::ptrdiff_t software_fields_maximum = 125;

std::uint8_t bcd(int value) { return static_cast<std::uint8_t>(value / 10 % 10 << 4 | value % 10); }

/// Century, year, month, day, hour, minute and second in UTC as packed decimals.
std::array<std::uint8_t, 7> utc_now()
{
    const std::time_t now = time::adjusted_time();
    std::tm utc{};
    if (::gmtime_r(&now, &utc) == nullptr) {
        return {0xFA, 0xF8, 1, 1, 0, 0, 0};
    }
    const int year = utc.tm_year + 1900;
    return {bcd(year / 100),  bcd(year % 100), bcd(utc.tm_mon + 1), bcd(utc.tm_mday),
            bcd(utc.tm_hour), bcd(utc.tm_min), bcd(utc.tm_sec)};
}

/// The payload of PGN 65242: the number of fields, then the fields [ISO 11783-12]. Empty for a text of too many
/// fields.
std::unique_ptr<Byte_array> software_identification_payload(const std::string& text)
{
    const auto fields = std::ranges::count(text, diagnostic::information_delimiter);
    auto payload = std::make_unique<Byte_array>();
    if (fields > software_fields_maximum || !payload->resize(static_cast<std::uint32_t>(text.size()) + 1)) {
        return nullptr;
    }
    *payload->begin() = static_cast<std::uint8_t>(fields);
    std::ranges::copy(text, payload->begin() + 1);
    return payload;
}

} // namespace

Observer::Observer(ECU& ecu)
    : Observer_dispatcher_id(ecu.dispatcher_id())
    , ecu_(ecu)
{}

template <class Visit> void Observer::for_each_subscription(Visit visit)
{
    visit(message::address::Start_claim::id, &Observer::on_address_start_claim);
    visit(message::PDU_transmit::id, &Observer::on_pdu_transmit);
    visit(message::software_identification::Response::id, &Observer::on_software_identification_response);
    visit(Time_elapsed::id, &Observer::on_time_elapsed);
    visit(message::tp::tx::Current_state_request::id, &Observer::on_tp_tx_current_state_request);
}

void Observer::subscribe()
{
    for_each_subscription([this](comm::message::Id id, auto handler) { add(id, handler); });
}

void Observer::unsubscribe()
{
    for_each_subscription([this](comm::message::Id id, auto) { remove(id); });
}

void Observer::on_address_start_claim(comm::message::Message& message)
{
    ecu_.handler().start(dynamic_cast<const message::address::Start_claim&>(message).preferred_address);
}

void Observer::on_pdu_transmit(comm::message::Message& message)
{
    const auto& request = dynamic_cast<const message::PDU_transmit&>(message);
    ecu_.send_with_transport(ecu_.nodes().find_by_name(request.destination), request.priority, request.pgn,
                             request.payload.bytes());
}

void Observer::on_software_identification_response(comm::message::Message& message)
{
    const auto& response = dynamic_cast<const message::software_identification::Response&>(message);
    ecu_.send_with_transport(response.destination, priority, pdu::pgn::software_identification,
                             software_identification_payload(response.identification));
}

void Observer::on_time_elapsed(comm::message::Message& message)
{
    const std::uint32_t interval = ecu_.properties().debug_timer_interval;
    if (interval == 0) {
        return;
    }
    debug_elapsed_ += dynamic_cast<const Time_elapsed&>(message).elapsed;
    if (debug_elapsed_ >= interval) {
        debug_elapsed_ %= interval;
        send_debug_pdu();
    }
}

void Observer::send_debug_pdu()
{
    if (!ecu_.is_claimed()) {
        return; // nothing would leave, and the count tells what has left
    }
    std::array<std::uint8_t, 8> payload{};
    std::ranges::copy(utc_now(), payload.begin());
    payload.back() = debug_count_++;
    ecu_.transmit(nullptr, priority, debug_pgn, payload, false);
}

void Observer::on_tp_tx_current_state_request(comm::message::Message&)
{
    const tp::manager::Transfer transfer = ecu_.transport().current_transfer();
    ecu_.report<message::tp::tx::Current_state>(transfer.total, transfer.sent);
}

} // namespace qv::can_bus::ecu
