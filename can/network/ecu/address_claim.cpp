#include "can/network/ecu/address_claim.h"

#include "can/network/ecu/ecu.h"
#include "can/network/ecu/ecu_message.h"

namespace qv::can_bus::ecu::address_claim::handler {

namespace {

constexpr std::uint32_t next_tick = 1;         ///< milliseconds; any tick ends it
constexpr std::uint32_t listening_time = 270;  ///< milliseconds
constexpr std::uint32_t contention_time = 270; ///< milliseconds
constexpr std::uint32_t search_first = 128;    ///< self-configurable addresses [ISO 11783-1 table B.1]
constexpr std::uint32_t search_last = 247;
constexpr std::uint64_t claimed_time_limit = 0xFFFFFF00;
constexpr std::uint32_t claimed_time_capped = 0xFFFF0000;
constexpr std::uint32_t priority = 6;

} // namespace

void Handler::start(std::uint32_t preferred_address)
{
    address_ = preferred_address;
    check_address();
    if (has_address()) {
        begin();
    }
}

void Handler::begin() noexcept
{
    enter(State::start);
    claimed_time_ = 0;
    ecu_.set_source_address(pdu::null_address);
}

void Handler::stop() noexcept
{
    enter(State::idle);
    ecu_.set_source_address(pdu::null_address);
}

void Handler::enter(State state) noexcept
{
    state_ = state;
    switch (state) {
        case State::start: timer_ = next_tick; break;
        case State::requesting: timer_ = listening_time; break;
        case State::claiming: timer_ = contention_time; break;
        case State::idle:
        case State::claimed:
        case State::lost: timer_ = 0; break;
    }
}

void Handler::on_time_elapsed(std::uint32_t elapsed)
{
    if (timer_ > elapsed) {
        timer_ -= elapsed;
    } else if (timer_ != 0) {
        timer_ = 0;
        on_timer_ended();
    }
    if (state_ == State::claimed) {
        const std::uint64_t sum = std::uint64_t{claimed_time_} + elapsed;
        claimed_time_ = sum > claimed_time_limit ? claimed_time_capped : static_cast<std::uint32_t>(sum);
    }
}

void Handler::on_timer_ended()
{
    switch (state_) {
        case State::start: return request_addresses();
        case State::requesting: return claim();
        case State::claiming: enter(State::claimed); return ecu_.report<message::address::Claimed>();
        case State::idle:
        case State::claimed:
        case State::lost: return; // they run no timer
    }
}

/// Asks all control functions for their addresses, from the null address [ISO 11783-5 4.5.2].
void Handler::request_addresses()
{
    enter(State::requesting);
    ecu_.transmit(nullptr, priority, pdu::pgn::request, pdu::request_payload(pdu::pgn::address_claimed), true);
}

void Handler::claim()
{
    check_address();
    if (!has_address()) {
        return enter(State::idle); // was told meanwhile to want none
    }
    enter(State::claiming);
    ecu_.set_source_address(address_);
    ecu_.send_address_claim();
}

void Handler::lose_contention()
{
    enter(State::lost);
    const std::uint32_t lost = ecu_.source_address();
    ecu_.set_source_address(pdu::null_address);
    ecu_.report<message::address::Lost_claim>(lost);
    check_address();
    if (has_address()) {
        begin();
    } else {
        ecu_.send_address_claim(); // from the null address: cannot claim
    }
}

bool Handler::has_address() const noexcept { return address_ < pdu::null_address; }

/// Looks for another address if a node with another NAME holds the one wanted.
void Handler::check_address()
{
    if (!has_address()) {
        return; // the nodes that lost their address stand at the null address, but hold none
    }
    const auto holder = ecu_.nodes().find_by_address(address_);
    if (holder && holder->name() != ecu_.name()) {
        address_ = next_free_address();
        ecu_.report<message::address::Changed>(address_);
    }
}

/// The first free address above the one wanted, within the self-configurable ones. The last of these is the
/// result even when it is taken; the NAMEs then decide who keeps it.
std::uint32_t Handler::next_free_address() const
{
    std::uint32_t candidate = address_;
    do {
        const bool in_range = candidate >= search_first - 1 && candidate < search_last;
        candidate = in_range ? candidate + 1 : search_first;
    } while (candidate != search_last && ecu_.nodes().find_by_address(candidate));
    return candidate;
}

} // namespace qv::can_bus::ecu::address_claim::handler
