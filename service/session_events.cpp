// The part of the session that hears the bus: the tick, the answers of the ECU [SAE J1939-73 5.7.14 to 5.7.16],
// heartbeats, claims and identifications.

#include <cstdio>

#include "service/name_text.h"
#include "service/session.h"

namespace qv::can_bus::flr {

namespace {

constexpr std::uint8_t last_ordinary_message = 15; // first byte of a proprietary message; above are heartbeats

/// From the first request to the return of the ECU.
constexpr bool has_asked(State state)
{
    switch (state) {
        case State::BL_IDLE:
        case State::BL_TARGET_SEARCH:
        case State::BL_START:
        case State::BL_COMPLETE_ACK:
        case State::BL_FAILURE: return false;
        default: return true;
    }
}

/// Who sent the message itself, not who speaks for its working set.
const std::shared_ptr<node::Node>& sender_of(const pdu::PDU& pdu)
{
    return pdu.address_holder != nullptr ? pdu.address_holder : pdu.source_node;
}

} // namespace

void Session::on_second()
{
    if (tick_delay_ > 0) {
        --tick_delay_;
        return;
    }
    exchange_step();
}

/// Looks at the exchange first; only when none is open the session acts.
void Session::exchange_step()
{
    if (!address_claimed) {
        return;
    }
    const State now = state; // one look only: another thread may begin a session at any moment
    if (now == State::BL_START) {
        take_over_choice();
    }
    target_.note_address();
    switch (exchange_.status()) {
        case Access_status::failed: std::puts("Memory access bootload error! \r\n;"); return end_process_(0);
        case Access_status::busy: return exchange_.repeat(target_node());
        case Access_status::ready: return run_state(now);
        case Access_status::waiting:
        case Access_status::proceeding: break;
    }
    if (!exchange_.wait_a_second()) {
        std::puts("MemoryAccess Timeout: Aborting\r");
        fail(0);
    }
}

/// With a wireless node no request is ever open, and a stray answer may not end the session under its worker.
void Session::on_memory_access_response(const pdu::PDU& pdu)
{
    if (update_kind == wireless_package && state != State::BL_IDLE && state != State::BL_TARGET_SEARCH) {
        return;
    }
    const auto response = memory_access::parse_response(pdu.data.bytes());
    if (!response || exchange_.status() == Access_status::failed) {
        return; // a refusal stands
    }
    switch (response->answer) {
        case memory_access::Answer::proceed: return on_proceed(response->seed, sender_of(pdu));
        case memory_access::Answer::busy:
            std::puts("Busy\t\t: \r");
            if (expects_answer()) {
                exchange_.note_busy();
            }
            return;
        case memory_access::Answer::operation_completed: return on_operation_completed(sender_of(pdu));
        case memory_access::Answer::bootload_status: std::puts("Received MA status bootload??\r"); return;
        case memory_access::Answer::failed:
            std::puts("MA Failed\t\t: \r");
            exchange_.note_refusal();
            return;
    }
}

/// What comes when no request is open was sent late or twice, and opens nothing. Only the wait for the word about
/// another bit rate may have been ended by such an answer.
bool Session::expects_answer() const
{
    return exchange_.status() != Access_status::ready || state == State::BL_BAUD_PENDING;
}

void Session::on_proceed(std::uint16_t seed, const std::shared_ptr<node::Node>& sender)
{
    if (!expects_answer()) {
        return;
    }
    if (seed != memory_access::Response::no_key_needed) {
        return exchange_.answer_seed(seed, sender);
    }
    const bool is_repeated = exchange_.status() == Access_status::proceeding;
    exchange_.note_proceed();
    if (chunk_transfer_.is_announced()) {
        chunk_transfer_.send(chunks_.chunk(), sender, target_node(), is_repeated);
    } else if (state == State::BL_RESTART && exchange_.asks_for(memory_access::reset_bootloader)) {
        exchange_.send_word(sender, image_checksum_);
        state = State::BL_RESTART_PENDING;
    } else if (state == State::BL_BAUD_PENDING && exchange_.asks_for(memory_access::change_bit_rate)) {
        exchange_.send_word(sender, static_cast<std::uint32_t>(target_baud));
        tick_delay_ = 1;
        exchange_.end();
        state = State::BL_BAUD_LOCAL;
    }
}

bool Session::begins_with_proceed() const
{
    return state == State::BL_ERASING || state == State::BL_READ_CHECKSUM || state == State::BL_RESTART;
}

/// Goes on at once, so that an image travels at the speed of the ECU's answers. A chunk counts for its holder, and
/// an erase, a read or a restart after its Proceed: what comes else may be the answer to the request before, heard
/// twice, and would leave a hole in the image, or a sector without its erase.
void Session::on_operation_completed(const std::shared_ptr<node::Node>& sender)
{
    if (chunk_transfer_.is_announced()) {
        if (!chunk_transfer_.has_reached(sender)) {
            return;
        }
        chunk_transfer_.complete();
        chunks_.confirm();
    } else if (begins_with_proceed() && exchange_.lacks_proceed()) {
        return exchange_.doubt();
    }
    exchange_.end();
    if (own_ecu_.attached()) {
        exchange_.close(sender);
        exchange_step();
    }
}

void Session::on_memory_access_tp_receive(const pdu::PDU& pdu)
{
    if (state != State::BL_READ_CHECKSUM || target_node() == nullptr ||
        pdu.source_address != target_node()->source_address) {
        return;
    }
    const auto checksum = memory_access::parse_word(pdu.data.bytes());
    if (!checksum) {
        std::puts("Invalid checksum length\r");
        return fail(0);
    }
    image_checksum_ = *checksum;
    if (exchange_.status() == Access_status::waiting) {
        exchange_.note_proceed(); // which was lost
    }
    attempts_ = 0;
    state = State::BL_RESTART;
}

void Session::on_custom_message(const pdu::PDU& pdu)
{
    if (pdu.data.empty() || pdu.data[0] <= last_ordinary_message) {
        return;
    }
    if (state == State::BL_BAUD_SETTLE) {
        return exchange_.end();
    }
    if (state != State::BL_BOOTLOADER_PENDING) {
        return;
    }
    if (has_other_bit_rate(target_baud)) {
        std::puts("Bootload heartbeat detected, setting target baud...\r");
        tick_delay_ = 2;
        state = State::BL_BAUD_REQUEST;
    } else {
        std::puts("Bootload heartbeat detected, continuing...\r");
        state = State::BL_BOOTLOADER;
    }
}

/// A target that returns keeps its NAME, or takes the target's address under the NAME of its bootloader. That
/// counts only after the target was asked to enter it: before, and when the session is over, somebody else may
/// have taken the address of an ECU that has gone.
void Session::on_address_claimed(std::uint32_t address, name::Name name, const std::shared_ptr<node::Node>& node)
{
    const State now = state; // one look, as in `exchange_step`
    if (now == State::BL_START) {
        take_over_choice();
    }
    if (now == State::BL_IDLE || (hex_parser == nullptr && zip_parser == nullptr) || target_node() == nullptr) {
        return; // no session
    }
    std::printf("\t Comparing [%s] %s\r\n", name_text(target_node()->name()).c_str(), name_text(name).c_str());
    const bool took_its_address =
        has_asked(now) && target_.has_lost(address) && inventory_.find_ecu_by_address(address) != nullptr;
    if (target_node()->name() != name && !took_its_address) {
        return;
    }
    target_.follow(node);
    if (now == State::BL_RESTART_PENDING || now == State::BL_COMPLETE) {
        own_ecu_.request_software_identification(node);
    }
    std::printf("\tTarget Found! [0x%x] %s\r\n", address, name_text(name).c_str());
}

/// Whoever identifies itself. When it is the target that restarted without another word, nothing is waited for,
/// also when somebody else identified itself before.
void Session::on_software_identification(std::uint32_t address)
{
    if ((state != State::BL_RESTART_PENDING && state != State::BL_COMPLETE) || target_node() == nullptr) {
        return;
    }
    if (address == target_node()->source_address) {
        exchange_.end();
    }
    state = State::BL_COMPLETE;
}

} // namespace qv::can_bus::flr
