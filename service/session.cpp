#include "service/session.h"

#include <chrono>
#include <cstdio>

#include "framework/thread/pause.h"
#include "service/update_place.h"
#include "service/wifi/install_handler.h"
#include "service/wifi/send_handler.h"

namespace qv::can_bus::flr {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t bootloader_countdown = 10; // runs, one a second while no exchange is open
constexpr std::uint32_t return_countdown = 15;     // runs
constexpr std::uint32_t attempts_maximum = 10;     // of a request whose data or Proceed never comes
constexpr auto pause_before_reset = 3s;
constexpr auto pause_before_exit = 5s;
constexpr char escape = 27;

constexpr std::uint32_t wireless_return_countdown = 60; // runs
constexpr std::uint32_t percent_total = 100;

} // namespace

Session::Session(const Options& options, const Inventory& inventory, const Own_ecu& own_ecu,
                 std::function<void(int status)> end_process)
    : exchange_(own_ecu)
    , chunk_transfer_(own_ecu)
    , options_(options)
    , inventory_(inventory)
    , own_ecu_(own_ecu)
    , end_process_(std::move(end_process))
{}

int Session::start_update(const Programmable_item& entry, const std::string& version)
{
    std::puts("Programming selection -\r");
    const std::unique_lock alone(starting_, std::try_to_lock);
    if (!alone || closed_ || state != State::BL_IDLE) {
        return -1;
    }
    std::optional<Update_choice> choice;
    const int result = choose_update(entry, version, options_, choice);
    if (choice) {
        begin(std::move(*choice));
    }
    return result;
}

bool Session::close()
{
    const std::lock_guard alone(starting_);
    closed_ = closed_ || state == State::BL_IDLE;
    return closed_;
}

/// From here on the bus thread acts.
void Session::begin(Update_choice choice)
{
    choice_ = std::move(choice);
    error_code = 0;
    state = State::BL_START;
}

/// In the state that `begin` has set. A search sets it as well, and leaves no choice.
void Session::take_over_choice()
{
    if (!choice_) {
        return;
    }
    update_kind = choice_->package != nullptr ? wireless_package : can_image;
    hex_parser = std::move(choice_->image);
    zip_parser = std::move(choice_->package);
    target_.choose(std::move(choice_->target));
    choice_.reset();
    exchange_.take_refusal_back();
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

void Session::search_target(std::shared_ptr<const HexParser> image)
{
    hex_parser = std::move(image);
    update_kind = can_image;
    state = State::BL_TARGET_SEARCH;
}

void Session::search_target(std::shared_ptr<const ZipParser> package)
{
    zip_parser = std::move(package);
    update_kind = wireless_package;
    state = State::BL_TARGET_SEARCH;
}

void Session::run_state(State now)
{
    switch (now) {
        case State::BL_IDLE: error_code = 0; return;
        case State::BL_START: return leave_start();
        case State::BL_BOOTLOADER_PENDING: return wait_for_bootloader();
        case State::BL_BOOTLOADER: return leave_bootloader();
        case State::BL_PARSING: return;
        case State::BL_ERASING: return erase_next_sector();
        case State::BL_PROGRAMMING: return update_kind == can_image ? write_next_chunk() : wait_for_installation();
        case State::BL_RESTART: return restart_ecu();
        case State::BL_READ_CHECKSUM: return request_checksum();
        case State::BL_COMPLETE: return complete();
        case State::BL_FAILURE: return report_failure();
        case State::BL_COMPLETE_ACK: return exit_if_wanted();
        case State::BL_BAUD_REQUEST: return request_baud_change();
        case State::BL_BAUD_PENDING: return wait_for_baud_change();
        case State::BL_BAUD_LOCAL: return change_local_baud();
        case State::BL_BAUD_SETTLE: return test_bootloader_anew();
        case State::BL_RESTART_PENDING: return wait_for_return();
        case State::BL_TRANSFERRING: return wait_for_transfer();
        case State::BL_TARGET_SEARCH: return find_target();
    }
}

/// Stops the chunk and closes the exchange. A refusal stays: it ends the process at the next tick.
void Session::fail(std::uint32_t code)
{
    chunk_transfer_.stop();
    exchange_.end();
    if (code != 0) {
        error_code = code;
    }
    state = State::BL_FAILURE;
}

bool Session::has_other_bit_rate(std::int32_t wanted) const
{
    return can_interface != nullptr && can_interface->getBitrate() != static_cast<std::uint32_t>(wanted);
}

void Session::leave_start()
{
    target_.begin();
    if (update_kind == can_image) {
        enter_bootloader();
    } else {
        state = State::BL_BOOTLOADER; // the node is always ready
    }
}

void Session::enter_bootloader()
{
    std::puts("Enter bootloader... \r");
    if (can_send()) {
        std::puts("Jumping to bootloader...\r");
        exchange_.begin(memory_access::enter_bootloader, target_node());
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
        exchange_.begin(memory_access::change_bit_rate, target_node());
    }
    countdown_ = bootloader_countdown;
    state = State::BL_BAUD_PENDING;
}

/// Its Proceed ends this state. Here the request is over without one: an answer to the request before was
/// repeated, or the ECU is done with what it was never told.
void Session::wait_for_baud_change()
{
    if (countdown_ < 1) {
        std::puts("No answer to the other bit rate\r");
        return fail(0);
    }
    --countdown_;
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

/// Waits anew; as the rates are equal now, the heartbeat or the end of the wait leads to the bootloader.
void Session::test_bootloader_anew()
{
    countdown_ = bootloader_countdown;
    state = State::BL_BOOTLOADER_PENDING;
}

void Session::leave_bootloader()
{
    if (update_kind == can_image) {
        begin_erasing();
    } else {
        begin_transfer();
    }
}

void Session::begin_transfer()
{
    progress_current = 0;
    state = State::BL_TRANSFERRING;
    start_worker("Starting Transfer Thread...", &SendHandler);
}

/// Starts the next step over the wireless node; a failure ends the session.
void Session::start_worker(const char* announcement, Worker::Entry entry)
{
    std::puts(announcement);
    worker_.reset();
    if (zip_parser == nullptr) {
        return; // the wait for the worker tells
    }
    worker_ = std::make_unique<Worker>(Package{zip_parser->path, place_of(zip_parser->path),
                                               zip_parser->software_version, zip_parser->target_host});
    if (const int error = worker_->start(entry); error != 0) {
        std::printf("Error - pthread_create_ftp() return code: %d\n", error);
        worker_.reset();
        fail(failure::no_worker);
    }
}

void Session::wait_for_transfer()
{
    if (worker_ == nullptr) {
        return fail(failure::no_worker);
    }
    const auto& record = worker_->record();
    progress_total = percent_total;
    if (!worker_->has_ended()) {
        progress_current = static_cast<std::uint32_t>(record.progress);
        std::printf("Upload progress: %d\r\n", record.progress.load());
        return;
    }
    if (const std::int32_t error = record.error; error != 0) {
        std::printf("Transfer Incomplete (error %d)\n", error);
        target_.drop();
        progress_current = 0;
        return fail(static_cast<std::uint32_t>(error));
    }
    std::puts("Transfer Finished");
    state = State::BL_PROGRAMMING;
    start_worker("Starting Install Thread...", &InstallHandler);
}

void Session::wait_for_installation()
{
    if (worker_ == nullptr) {
        return fail(failure::no_worker);
    }
    const auto& record = worker_->record();
    if (!worker_->has_ended()) {
        progress_total = percent_total;
        progress_current = static_cast<std::uint32_t>(record.progress);
    } else if (record.error != 0) {
        std::puts("WIFI Install Incomplete");
        fail(failure::not_installed);
    } else {
        std::puts("WIFI Install Finished");
        state = State::BL_RESTART;
    }
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
    exchange_.begin(memory_access::erase_sector(sector->start), target_node());
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
            attempts_ = 0;
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
    exchange_.begin(memory_access::write_chunk(chunks_.chunk_length(), chunks_.chunk_address()), target_node());
    chunk_transfer_.announce();
    progress_current += chunks_.chunk_length();
}

/// The ECU may complete the read again and again while its data never arrives.
void Session::request_checksum()
{
    if (++attempts_ > attempts_maximum) {
        std::puts("The ECU does not send its checksum\r");
        return fail(0);
    }
    if (can_send()) {
        std::puts("\r\nVerifying Checksum...\r");
        exchange_.begin(memory_access::read_checksum, target_node());
    }
}

/// A wireless node restarts by itself. An ECU may complete the request again and again without its Proceed.
void Session::restart_ecu()
{
    if (update_kind == wireless_package) {
        countdown_ = wireless_return_countdown;
        state = State::BL_RESTART_PENDING;
    } else if (++attempts_ > attempts_maximum) {
        std::puts("The ECU does not begin its restart\r");
        return fail(0);
    } else {
        reset_bootloader();
    }
    progress_current = 0; // first, for those who read the two at any moment
    progress_total = countdown_;
}

/// The ECU needs time before it takes the request; its Proceed moves the session on.
void Session::reset_bootloader()
{
    tick_delay_ = 3;
    thread::pause(pause_before_reset);
    if (can_send()) {
        std::puts("Resetting bootloader\r");
        exchange_.begin(memory_access::reset_bootloader, target_node());
    }
    countdown_ = return_countdown;
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
    chunk_transfer_.stop();
    hex_parser.reset();
    zip_parser.reset();
    worker_.reset();
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
    for (const auto& entry : inventory_.visible_entries()) {
        if (!fits(*entry)) {
            continue;
        }
        if (options_.verbose > 0) {
            std::puts("ECU target found\r");
        }
        target_.choose(entry->node);
        tick_delay_ = 2;
        state = State::BL_START;
    }
}

/// The file that is searched for alone counts; a scan may have found others. A package fits nobody.
bool Session::fits(const Programmable_item& entry) const
{
    return hex_parser != nullptr && hex_parser->matches(entry.name, entry.part_number.c_str()) == 0;
}

} // namespace qv::can_bus::flr
