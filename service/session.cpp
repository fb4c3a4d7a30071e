#include "service/session.h"

#include <chrono>
#include <cstdio>

#include "framework/thread/pause.h"

namespace qv::can_bus::flr {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t bootloader_countdown = 10; // seconds
constexpr std::uint32_t return_countdown = 15;     // seconds
constexpr auto pause_before_reset = 3s;
constexpr auto pause_before_exit = 5s;
constexpr char escape = 27;

/// The image of this version among those that fit; the last one counts.
const HexParser* find_version(const Programmable_item& entry, const std::string& version)
{
    const HexParser* found = nullptr;
    for (const auto& parser : entry.hex_matches) {
        if (parser->software_version == version) {
            found = parser.get();
        }
    }
    return found;
}

} // namespace

Session::Session(const Options& options, const Inventory& inventory, const Own_ecu& own_ecu,
                 std::function<void(int status)> end_process)
    : options_(options)
    , inventory_(inventory)
    , own_ecu_(own_ecu)
    , end_process_(std::move(end_process))
{}

int Session::start_update(const Programmable_item& entry, const std::string& version)
{
    std::puts("Programming selection -\r");
    if (state != State::BL_IDLE) {
        return -1;
    }
    if (entry.hex_matches.empty()) {
        return 0;
    }
    const auto* update = find_version(entry, version);
    if (update == nullptr) {
        std::printf("No update of version [%s] found\n", version.c_str());
        return -2;
    }
    std::printf("%s\r\n", update->path.c_str());
    auto image = std::make_shared<HexParser>();
    if (image->parse(update->path, false) != 0) {
        std::puts("Error Parsing Bootload File\r");
        return -1;
    }
    if (options_.verbose > 0) {
        image->print_full();
    }
    hex_parser = std::move(image);
    target_node = entry.node;
    update_kind = can_image;
    state = State::BL_START; // last: from here on the bus thread acts
    return 0;
}

int Session::acknowledge_result()
{
    auto result = State::BL_FAILURE;
    if (state.compare_exchange_strong(result, State::BL_IDLE)) {
        return 0;
    }
    result = State::BL_COMPLETE_ACK;
    return state.compare_exchange_strong(result, State::BL_IDLE) ? 0 : -1;
}

void Session::search_target(std::shared_ptr<HexParser> image)
{
    hex_parser = std::move(image);
    update_kind = can_image;
    state = State::BL_TARGET_SEARCH;
}

void Session::run_state()
{
    switch (state) {
        case State::BL_IDLE: error_code = 0; return;
        case State::BL_START: return enter_bootloader();
        case State::BL_BOOTLOADER_PENDING: return wait_for_bootloader();
        case State::BL_BOOTLOADER: return begin_erasing();
        case State::BL_PARSING: return;
        case State::BL_ERASING: return erase_next_sector();
        case State::BL_PROGRAMMING: return write_next_chunk();
        case State::BL_RESTART: return reset_bootloader();
        case State::BL_READ_CHECKSUM: return request_checksum();
        case State::BL_COMPLETE: return complete();
        case State::BL_FAILURE: return report_failure();
        case State::BL_COMPLETE_ACK: return exit_if_wanted();
        case State::BL_BAUD_REQUEST: return request_baud_change();
        case State::BL_BAUD_PENDING: return;
        case State::BL_BAUD_LOCAL: return change_local_baud();
        case State::BL_BAUD_SETTLE: return test_bootloader_anew();
        case State::BL_RESTART_PENDING: return wait_for_return();
        case State::BL_TARGET_SEARCH: return find_target();
    }
}

/// No chunk of this session may be sent any more, and the position in the image may end with it.
void Session::fail(std::uint32_t code)
{
    transfer_step_ = Transfer_step::none;
    if (code != 0) {
        error_code = code;
    }
    state = State::BL_FAILURE;
}

bool Session::has_other_bit_rate(std::int32_t wanted) const
{
    return can_interface != nullptr && can_interface->getBitrate() != static_cast<std::uint32_t>(wanted);
}

void Session::enter_bootloader()
{
    std::puts("Enter bootloader... \r");
    if (can_send()) {
        std::puts("Jumping to bootloader...\r");
        send_request(memory_access::enter_bootloader);
    }
    countdown_ = bootloader_countdown;
    state = State::BL_BOOTLOADER_PENDING;
}

void Session::wait_for_bootloader()
{
    if (countdown_ > 0) {
        --countdown_;
        return;
    }
    if (!has_other_bit_rate(target_baud)) {
        state = State::BL_BOOTLOADER;
        return;
    }
    tick_delay_ = 2;
    state = State::BL_BAUD_REQUEST;
}

void Session::request_baud_change()
{
    std::printf("Setting baud to %d\n", target_baud);
    if (can_send()) {
        std::puts("\r\n\r\nRequesting Baud change..\r\n\r");
        send_request(memory_access::change_bit_rate);
    }
    state = State::BL_BAUD_PENDING;
}

void Session::change_local_baud()
{
    std::puts("Change local baud\r");
    if (can_interface != nullptr) {
        can_interface->setBitrate(static_cast<std::uint32_t>(target_baud));
    }
    std::puts("Waiting for bus to settle...\r");
    tick_delay_ = 3;
    state = State::BL_BAUD_SETTLE;
}

/// At the new rate the comparison of the rates ends the wait.
void Session::test_bootloader_anew()
{
    countdown_ = bootloader_countdown;
    state = State::BL_BOOTLOADER_PENDING;
}

void Session::begin_erasing()
{
    std::printf("Starting erase:");
    if (hex_parser == nullptr) {
        return fail(failure::no_image);
    }
    sectors_.start(hex_parser->image());
    progress_current = 0;
    progress_total = hex_parser->dirty_sector_count();
    std::puts("\r");
    state = State::BL_ERASING;
}

void Session::erase_next_sector()
{
    const auto* sector = sectors_.next();
    if (sector == nullptr) {
        return begin_programming();
    }
    if (options_.quiet == 0) {
        std::fflush(stdout);
        std::printf("%c[2K\rErasing sector @ 0x%08x", escape, sector->start);
        std::fflush(stdout);
    }
    send_request(memory_access::erase_sector(sector->start));
    ++progress_current;
}

void Session::begin_programming()
{
    std::puts("  :  Erasing Complete!\r");
    chunks_.start(hex_parser->image());
    progress_current = 0;
    progress_total = hex_parser->data_size();
    state = State::BL_PROGRAMMING;
}

void Session::write_next_chunk()
{
    tick_delay_ = 2;
    while (!chunks_.has_bytes()) {
        if (!chunks_.next_block()) {
            tick_delay_ = 0;
            state = State::BL_READ_CHECKSUM;
            return;
        }
        std::puts("\r");
    }
    chunks_.next(hex_parser->image());
    if (options_.quiet == 0) {
        std::printf("%c[2K\rProgramming Image @ 0x%08x (%%%.2f)", escape, chunks_.chunk_address(),
                    static_cast<double>(chunks_.percent()));
        std::fflush(stdout);
    }
    send_request(memory_access::write_chunk(chunks_.chunk_length(), chunks_.chunk_address()));
    transfer_step_ = Transfer_step::announced;
    progress_current += chunks_.chunk_length();
}

void Session::request_checksum()
{
    if (can_send()) {
        std::puts("\r\nVerifying Checksum...\r");
        send_request(memory_access::read_checksum);
    }
}

/// The ECU needs time before it takes the request; its Proceed moves the session on.
void Session::reset_bootloader()
{
    tick_delay_ = 3;
    thread::pause(pause_before_reset);
    if (can_send()) {
        std::puts("Resetting bootloader\r");
        send_request(memory_access::reset_bootloader);
    }
    countdown_ = return_countdown;
    progress_total = countdown_;
    progress_current = 0;
}

void Session::wait_for_return()
{
    if (countdown_ < 1) {
        return fail(failure::not_returned);
    }
    --countdown_;
    ++progress_current;
}

/// Whoever sees the new state may start the next session, so that it comes last.
void Session::complete()
{
    if (has_other_bit_rate(usual_bit_rate)) {
        can_interface->setBitrate(usual_bit_rate);
    }
    std::puts("Programming Complete!\r\n\r");
    progress_current = 0;
    transfer_step_ = Transfer_step::none;
    hex_parser.reset();
    state = State::BL_COMPLETE_ACK;
}

void Session::report_failure()
{
    std::puts("Programming Failure!\r\n\r");
    if (error_code == 0) {
        error_code = failure::other;
    }
    exit_if_wanted();
}

void Session::exit_if_wanted()
{
    if (options_.exit_on_completion) {
        thread::pause(pause_before_exit);
        end_process_(0);
    }
}

/// Of several ECUs that the file fits the last one is taken.
void Session::find_target()
{
    for (std::int32_t index = 0; const auto* entry = inventory_.visible_ecu_at(index); ++index) {
        if (!fits(*entry)) {
            continue;
        }
        if (options_.verbose > 0) {
            std::puts("ECU target found\r");
        }
        target_node = entry->node;
        tick_delay_ = 2;
        state = State::BL_START;
    }
}

bool Session::fits(const Programmable_item& entry) const
{
    for (const auto& parser : inventory_.hex_updates) {
        if (parser->matches(entry.name, entry.part_number.c_str()) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace qv::can_bus::flr
