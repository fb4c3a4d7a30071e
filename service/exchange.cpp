// The part of the session that exchanges memory access messages with the ECU: one request at a time, its
// repetition, the key, the data phase, the time-out [SAE J1939-73 5.7.14 to 5.7.16].

#include <algorithm>
#include <cstdio>
#include <utility>

#include "service/name_text.h"
#include "service/session.h"

namespace qv::can_bus::flr {

namespace {

constexpr std::uint32_t answer_timeout = 30;       // seconds
constexpr std::uint8_t last_ordinary_message = 15; // first byte of a proprietary message; above are heartbeats

/// From the first request to the return of the ECU.
constexpr bool is_under_way(State state)
{
    switch (state) {
        case State::BL_IDLE:
        case State::BL_TARGET_SEARCH:
        case State::BL_START:
        case State::BL_COMPLETE:
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

/// One sending of a chunk. The transport holds it until it is done.
class Chunk_sending final : public data_supplier::Data_supplier {
public:
    Chunk_sending(std::shared_ptr<node::Node> node, bool is_one_frame) noexcept
        : receiver(std::move(node))
        , is_through(is_one_frame)
    {}

    bool get(std::span<std::uint8_t> view, const Byte_array& payload, std::uint32_t offset) override
    {
        is_through = is_through || offset + view.size() == payload.size();
        return Data_supplier::get(view, payload, offset);
    }

    const std::shared_ptr<node::Node> receiver;
    bool is_through; ///< its last byte has been sent
};

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
    note_target_address();
    switch (access_status_) {
        case Access_status::failed: std::puts("Memory access bootload error! \r\n;"); return end_process_(0);
        case Access_status::busy: return repeat_request();
        case Access_status::ready: return run_state(now);
        case Access_status::waiting:
        case Access_status::proceeding: break;
    }
    if (access_timeout_ > 0) {
        --access_timeout_;
        return;
    }
    std::puts("MemoryAccess Timeout: Aborting\r");
    fail(0);
}

/// Sends a request to the target and waits for its answer. `new_request` may be the one that is kept.
void Session::send_request(const memory_access::Request& new_request)
{
    request_ = new_request;
    access_timeout_ = answer_timeout;
    access_status_ = Access_status::waiting;
    is_doubtful_ = false;
    own_ecu_.send(target_node, pdu::pgn::memory_access_request, request_);
}

/// An answer that came in doubt leaves an exchange open, which is closed first.
void Session::repeat_request()
{
    const bool is_doubtful = is_doubtful_;
    if (is_doubtful) {
        own_ecu_.send(target_node, pdu::pgn::memory_access_request, memory_access::close_exchange);
    }
    send_request(request_);
    is_doubtful_ = is_doubtful;
}

/// With a wireless node no request is ever open, and a stray answer may not end the session under its worker.
void Session::on_memory_access_response(const pdu::PDU& pdu)
{
    if (update_kind == wireless_package && state != State::BL_IDLE && state != State::BL_TARGET_SEARCH) {
        return;
    }
    const auto response = memory_access::parse_response(pdu.data.bytes());
    if (!response || access_status_ == Access_status::failed) {
        return; // a refusal stands
    }
    switch (response->answer) {
        case memory_access::Answer::proceed: return on_proceed(response->seed, sender_of(pdu));
        case memory_access::Answer::busy:
            std::puts("Busy\t\t: \r");
            if (expects_answer()) {
                access_status_ = Access_status::busy;
            }
            return;
        case memory_access::Answer::operation_completed: return on_operation_completed(sender_of(pdu));
        case memory_access::Answer::bootload_status: std::puts("Received MA status bootload??\r"); return;
        case memory_access::Answer::failed:
            std::puts("MA Failed\t\t: \r");
            access_status_ = Access_status::failed;
            return;
    }
}

/// What comes when no request is open was sent late or twice, and opens nothing. Only the wait for the word about
/// another bit rate may have been ended by such an answer.
bool Session::expects_answer() const
{
    return access_status_ != Access_status::ready || state == State::BL_BAUD_PENDING;
}

/// The key of the bootloader's access check is the seed itself; the request goes out again with it.
void Session::on_proceed(std::uint16_t seed, const std::shared_ptr<node::Node>& sender)
{
    if (!expects_answer()) {
        return;
    }
    if (seed != memory_access::Response::no_key_needed) {
        if (own_ecu_.attached()) {
            memory_access::set_key(request_, seed);
            own_ecu_.send(sender, pdu::pgn::memory_access_request, request_);
        }
        return;
    }
    const bool is_repeated = access_status_ == Access_status::proceeding;
    access_status_ = Access_status::proceeding;
    if (transfer_step_ == Transfer_step::announced) {
        send_chunk(sender, is_repeated);
    } else if (state == State::BL_RESTART && asks_for(memory_access::reset_bootloader)) {
        send_word(sender, image_checksum_);
        state = State::BL_RESTART_PENDING;
    } else if (state == State::BL_BAUD_PENDING && asks_for(memory_access::change_bit_rate)) {
        send_word(sender, static_cast<std::uint32_t>(target_baud));
        tick_delay_ = 1;
        access_status_ = Access_status::ready;
        state = State::BL_BAUD_LOCAL;
    }
}

/// Not while it is on its way, nor at a repeated Proceed when it was one frame: the second one would reach the ECU
/// as the data of the next chunk. What is on its way to a stranger gives way to the target; when the target has it
/// all, no stranger gets it.
void Session::send_chunk(const std::shared_ptr<node::Node>& node, bool is_repeated)
{
    note_chunk_holder();
    auto data = memory_access::chunk_data(chunks_.chunk());
    const bool is_one_frame = data != nullptr && data->size() <= ecu::ECU::frame_size_maximum;
    const bool is_under_way =
        chunk_sending_.use_count() > 1 || (chunk_sending_ != nullptr && is_one_frame && is_repeated);
    const bool is_for_stranger = node != target_node;
    if ((is_under_way && (chunk_sending_->receiver == node || is_for_stranger)) ||
        (is_for_stranger && chunk_holder_ != nullptr && chunk_holder_ == target_node) || !own_ecu_.is_claimed()) {
        return;
    }
    withdraw_chunk();
    chunk_sending_ = std::make_shared<Chunk_sending>(node, is_one_frame);
    own_ecu_.send_with_transport(node, pdu::pgn::memory_access_data, std::move(data), chunk_sending_);
}

/// Nothing repeats it any more.
void Session::withdraw_chunk()
{
    if (chunk_sending_ != nullptr) {
        own_ecu_.withdraw(*chunk_sending_);
        chunk_sending_.reset();
    }
}

void Session::note_chunk_holder()
{
    if (chunk_sending_ != nullptr && chunk_sending_->is_through) {
        chunk_holder_ = chunk_sending_->receiver;
    }
}

/// Whether that is the request on its way; an answer may belong to the one before, which was repeated.
bool Session::asks_for(const memory_access::Request& request) const
{
    return std::equal(request.begin(), request.begin() + memory_access::key_position, request_.begin());
}

void Session::send_word(const std::shared_ptr<node::Node>& node, std::uint32_t value) const
{
    own_ecu_.send(node, pdu::pgn::memory_access_data, memory_access::word_data(value));
}

/// An erase, a read or a restart begins with the ECU's Proceed. An Operation Completed without it may be the one
/// to the request before, heard twice; but when the request was repeated for it, it counts.
bool Session::lacks_proceed() const
{
    const bool is_asked =
        state == State::BL_ERASING || state == State::BL_READ_CHECKSUM || state == State::BL_RESTART;
    return is_asked &&
           (access_status_ == Access_status::busy || (access_status_ == Access_status::waiting && !is_doubtful_));
}

/// Goes on at once, so that an image travels at the speed of the ECU's answers. What lacks its Proceed does not
/// count, or a sector would stay without its erase: unless the Proceed still comes, the request is repeated at the
/// next tick.
void Session::on_operation_completed(const std::shared_ptr<node::Node>& sender)
{
    if (transfer_step_ == Transfer_step::announced) {
        note_chunk_holder();
        if (chunk_holder_ == nullptr || chunk_holder_ != sender) {
            return; // who has not got the chunk has not written it: that is the answer to another one, once more
        }
        withdraw_chunk();
        chunks_.confirm();
        transfer_step_ = Transfer_step::completed;
    } else if (lacks_proceed()) {
        is_doubtful_ = true;
        access_status_ = Access_status::busy;
        return;
    }
    access_status_ = Access_status::ready;
    if (own_ecu_.attached()) {
        own_ecu_.send(sender, pdu::pgn::memory_access_request, memory_access::close_exchange);
        exchange_step();
    }
}

void Session::on_memory_access_tp_receive(const pdu::PDU& pdu)
{
    if (state != State::BL_READ_CHECKSUM || target_node == nullptr ||
        pdu.source_address != target_node->source_address) {
        return;
    }
    const auto checksum = memory_access::parse_word(pdu.data.bytes());
    if (!checksum) {
        std::puts("Invalid checksum length\r");
        return fail(0);
    }
    image_checksum_ = *checksum;
    if (access_status_ == Access_status::waiting) {
        access_status_ = Access_status::proceeding; // with data, the Proceed was lost
    }
    state = State::BL_RESTART;
}

void Session::on_custom_message(const pdu::PDU& pdu)
{
    if (pdu.data.empty() || pdu.data[0] <= last_ordinary_message) {
        return;
    }
    if (state == State::BL_BAUD_SETTLE) {
        access_status_ = Access_status::ready;
        return;
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

/// Begins with this target. When the update before failed it may be left in its bootloader, under the NAME that
/// the session then saw at its address.
void Session::aim_at(std::shared_ptr<node::Node> node)
{
    const bool is_left_in_bootloader =
        node == chosen_node_ && !node::has_address(node) && node::has_address(target_node);
    chosen_node_ = std::move(node);
    if (!is_left_in_bootloader) {
        target_node = chosen_node_;
    }
}

/// While the target has an address it is noted: at its next look the session may find it without.
void Session::note_target_address()
{
    if (node::has_address(target_node)) {
        target_address_ = target_node->source_address;
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
    if (now == State::BL_IDLE || (hex_parser == nullptr && zip_parser == nullptr) || target_node == nullptr) {
        return; // no session
    }
    std::printf("\t Comparing [%s] %s\r\n", name_text(target_node->name()).c_str(), name_text(name).c_str());
    const bool took_its_address = is_under_way(now) && !node::has_address(target_node) &&
                                  address != pdu::null_address && address == target_address_ &&
                                  inventory_.find_ecu_by_address(address) != nullptr;
    if (target_node->name() != name && !took_its_address) {
        return;
    }
    target_node = node;
    note_target_address(); // unless this claim tells that it has none: then the last one stays
    if (now == State::BL_RESTART_PENDING) {
        own_ecu_.request_software_identification(node);
    }
    std::printf("\tTarget Found! [0x%x] %s\r\n", address, name_text(name).c_str());
}

/// Whoever identifies itself. When it is the target that restarted without another word, nothing is waited for.
void Session::on_software_identification(std::uint32_t address)
{
    if (state != State::BL_RESTART_PENDING || target_node == nullptr) {
        return;
    }
    if (address == target_node->source_address && access_status_ != Access_status::failed) {
        access_status_ = Access_status::ready;
    }
    state = State::BL_COMPLETE;
}

} // namespace qv::can_bus::flr
