#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "can/network/node/node.h"
#include "can/network/pdu/pdu.h"
#include "service/can_interface.h"
#include "service/image_walk.h"
#include "service/inventory.h"
#include "service/memory_access.h"
#include "service/options.h"
#include "service/own_ecu.h"
#include "service/worker.h"

namespace qv::can_bus::flr {

/// Where a session stands. What a state waits for is told behind it; a "run" comes with each tick of a second
/// while no exchange is open, and with each exchange that the ECU completes.
enum class State : std::int32_t {
    BL_IDLE = 0,               ///< no session; waits for `start_update`
    BL_START = 1,              ///< a target is chosen; the next run asks it into its bootloader
    BL_BOOTLOADER_PENDING = 2, ///< waits for the bootloader's heartbeat, or for `countdown` runs
    BL_BOOTLOADER = 3,         ///< the bootloader is up; the next run begins to erase
    BL_PARSING = 4,            ///< never entered
    BL_ERASING = 5,            ///< waits for a sector to be erased
    BL_PROGRAMMING = 6,        ///< waits for a chunk to be written, or for a wireless node to install
    BL_RESTART = 7,            ///< asks for the restart and waits for Proceed
    BL_READ_CHECKSUM = 8,      ///< waits for the checksum
    BL_COMPLETE = 9,           ///< success; the next run cleans up
    BL_FAILURE = 10,           ///< waits for the acknowledgement
    BL_COMPLETE_ACK = 11,      ///< success, cleaned up; waits for the acknowledgement
    BL_BAUD_REQUEST = 12,      ///< the next run asks for the other bit rate
    BL_BAUD_PENDING = 13,      ///< waits for Proceed
    BL_BAUD_LOCAL = 14,        ///< the next run changes the own bit rate
    BL_BAUD_SETTLE = 15,       ///< waits for the bus to settle
    BL_RESTART_PENDING = 16,   ///< waits for the ECU's software identification, or for `countdown` runs
    BL_TRANSFERRING = 17,      ///< waits for the upload to a wireless node
    BL_TARGET_SEARCH = 18,     ///< waits for an ECU that the file of the command line fits
};

/// How one memory access stands.
enum class Access_status : std::int32_t {
    waiting = 0,    ///< request sent, no answer yet
    proceeding = 1, ///< Proceed came; the data phase is under way
    ready = 2,      ///< over; the session may act
    failed = 3,     ///< the ECU refused
    busy = 4,       ///< the ECU was busy; the request goes out again at the next tick
};

/// What `transfer_step` says of a chunk.
enum class Transfer_step : std::int32_t { none = 0, announced = 1, completed = 2 };

/// Failure codes that a session sets itself.
namespace failure {
inline constexpr std::uint32_t other = 2; ///< failure without a code of its own
inline constexpr std::uint32_t not_installed = 4;
inline constexpr std::uint32_t not_returned = 11;
inline constexpr std::uint32_t no_image = 23;
inline constexpr std::uint32_t no_worker = 27;
} // namespace failure

class Chunk_sending;

/// Takes one ECU from its application through its bootloader to a new application, or has a wireless node install
/// a package.
///
/// Thread: the bus thread runs it. `start_update`, `acknowledge_result` and `close` are for any: the first acts
/// only while `state` is idle, and leaves what it has chosen for the bus thread to take over, writing `state`
/// last. What it was given at construction outlives it.
class Session {
public:
    // The values of `update_kind`.
    static constexpr std::int32_t can_image = 0;
    static constexpr std::int32_t wireless_package = 1;
    static constexpr std::int32_t usual_bit_rate = 250000;

    Session(const Options& options, const Inventory& inventory, const Own_ecu& own_ecu,
            std::function<void(int status)> end_process);

    /// Begins to program the entry's ECU with the matching image, or without any image the package, of this
    /// version. 0 when it runs, and also when nothing matches the entry; -1 when a session runs or starts, or the
    /// image does not parse; -2 without an update of this version.
    int start_update(const Programmable_item& entry, const std::string& version);
    /// Ends a session that has a result: 0. In any other state -1.
    int acknowledge_result();
    /// No session begins any more, as the process is to end. False, and nothing changed, when one runs.
    bool close();
    /// The command line's file is to go to an ECU that it fits.
    void search_target(std::shared_ptr<const HexParser> image);
    void search_target(std::shared_ptr<const ZipParser> package);

    void on_second();
    void on_address_claimed(std::uint32_t address, name::Name name, const std::shared_ptr<node::Node>& node);
    void on_software_identification(std::uint32_t address);
    /// DM15 [SAE J1939-73 5.7.15]. The sender is answered whoever it is.
    void on_memory_access_response(const pdu::PDU& pdu);
    /// DM16 [SAE J1939-73 5.7.16] with the checksum.
    void on_memory_access_tp_receive(const pdu::PDU& pdu);
    /// The heartbeat of a bootloader, a proprietary message.
    void on_custom_message(const pdu::PDU& pdu);

    // Read by any thread. Written by the bus thread; by any, where a session is chosen or its result acknowledged.
    std::atomic<State> state{State::BL_IDLE};
    std::atomic<std::uint32_t> error_code{0};
    std::atomic<std::uint32_t> progress_current{0};
    std::atomic<std::uint32_t> progress_total{1}; ///< 0 when there is nothing to do

    // The session. Thread: the bus thread.
    std::shared_ptr<node::Node> target_node;
    std::int32_t update_kind = can_image;
    std::shared_ptr<const HexParser> hex_parser;  ///< the image, parsed in full
    std::shared_ptr<const ZipParser> zip_parser;  ///< the package
    bool address_claimed = false;                 ///< the own claim was seen; nothing runs before
    std::int32_t target_baud = usual_bit_rate;    ///< bit/s while programming
    std::unique_ptr<Can_interface> can_interface; ///< only when the bit rate may change

private:
    /// What a session is to do.
    struct Choice {
        std::int32_t update_kind = can_image;
        std::shared_ptr<const HexParser> image;
        std::shared_ptr<const ZipParser> package;
        std::shared_ptr<node::Node> target;
    };

    int start_image(const Programmable_item& entry, const std::string& version);
    int start_package(const Programmable_item& entry, const std::string& version);
    void begin(Choice choice);
    void take_over_choice();
    void exchange_step();
    void run_state(State now);
    void leave_start();
    void enter_bootloader();
    void wait_for_bootloader();
    void leave_bootloader();
    void begin_erasing();
    void begin_transfer();
    void start_worker(const char* announcement, Worker::Entry entry);
    void wait_for_transfer();
    void wait_for_installation();
    void erase_next_sector();
    void begin_programming();
    void write_next_chunk();
    void request_checksum();
    void restart_ecu();
    void reset_bootloader();
    void wait_for_return();
    void complete();
    void report_failure();
    void exit_if_wanted();
    void request_baud_change();
    void wait_for_baud_change();
    void change_local_baud();
    void test_bootloader_anew();
    void find_target();
    bool fits(const Programmable_item& entry) const;

    void fail(std::uint32_t code);
    bool has_other_bit_rate(std::int32_t wanted) const;
    bool can_send() const { return own_ecu_.attached() && target_node != nullptr; }
    void send_request(const memory_access::Request& new_request);
    void on_proceed(std::uint16_t seed, const std::shared_ptr<node::Node>& sender);
    void on_operation_completed(const std::shared_ptr<node::Node>& sender);
    void send_word(const std::shared_ptr<node::Node>& node, std::uint32_t value) const;
    void send_chunk(const std::shared_ptr<node::Node>& node, bool is_repeated);
    void withdraw_chunk();
    void note_chunk_holder();
    bool expects_answer() const;
    bool asks_for(const memory_access::Request& request) const;
    bool lacks_proceed() const;
    void repeat_request();
    void aim_at(std::shared_ptr<node::Node> node);
    void note_target_address();

    // One memory access.
    Access_status access_status_ = Access_status::ready;
    std::uint32_t access_timeout_ = 0; ///< seconds left to wait for the answer
    memory_access::Request request_{}; ///< the last one built, for a repetition and the key step
    bool is_doubtful_ = false;         ///< the request was answered as done, without a Proceed before
    Transfer_step transfer_step_ = Transfer_step::none;

    // The chunk that is announced.
    std::shared_ptr<Chunk_sending> chunk_sending_; ///< the last time that it was sent
    std::shared_ptr<node::Node> chunk_holder_;     ///< who got all of it

    // Position and timers of the session.
    Erase_walk sectors_;
    Chunk_walk chunks_;
    std::shared_ptr<node::Node> chosen_node_;          ///< that `target_node` was first
    std::uint32_t target_address_ = pdu::null_address; ///< that the target of this session had last
    std::uint32_t image_checksum_ = 0;                 ///< as read back from the ECU
    std::uint32_t countdown_ = 0;                      ///< seconds
    std::uint8_t tick_delay_ = 0;                      ///< seconds during which ticks do nothing

    std::mutex starting_;          ///< held while an update is chosen and parsed
    bool closed_ = false;          ///< guarded by `starting_`
    std::optional<Choice> choice_; ///< written before `state` leaves idle, taken over by the bus thread after

    std::unique_ptr<Worker> worker_; ///< of the step that runs over the wireless node

    const Options& options_;
    const Inventory& inventory_;
    const Own_ecu& own_ecu_;
    std::function<void(int status)> end_process_;
};

} // namespace qv::can_bus::flr
