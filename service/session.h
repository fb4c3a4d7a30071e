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
#include "service/chunk_transfer.h"
#include "service/exchange.h"
#include "service/image_walk.h"
#include "service/inventory.h"
#include "service/options.h"
#include "service/own_ecu.h"
#include "service/session_state.h"
#include "service/target.h"
#include "service/update_choice.h"
#include "service/worker.h"

namespace qv::can_bus::flr {

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
    /// image does not parse; -2 without an update of this version, or when another file has taken its place.
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
    const std::shared_ptr<node::Node>& target_node() const noexcept { return target_.node(); }
    std::int32_t update_kind = can_image;
    std::shared_ptr<const HexParser> hex_parser;  ///< the image, parsed in full
    std::shared_ptr<const ZipParser> zip_parser;  ///< the package
    bool address_claimed = false;                 ///< the own claim was seen; nothing runs before
    std::int32_t target_baud = usual_bit_rate;    ///< bit/s while programming
    std::unique_ptr<Can_interface> can_interface; ///< only when the bit rate may change

private:
    void begin(Update_choice choice);
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
    /// Whether there is somebody to ask; what is sent without an own address is lost.
    bool can_send() const { return own_ecu_.attached() && target_node() != nullptr; }

    void on_proceed(std::uint16_t seed, const std::shared_ptr<node::Node>& sender);
    void on_operation_completed(const std::shared_ptr<node::Node>& sender);
    bool expects_answer() const;
    bool begins_with_proceed() const;

    Target target_;
    Exchange exchange_;
    Chunk_transfer chunk_transfer_;

    // Position and timers of the session.
    Erase_walk sectors_;
    Chunk_walk chunks_;
    std::uint32_t image_checksum_ = 0; ///< as read back from the ECU
    std::uint32_t countdown_ = 0;      ///< runs left; one a second while no exchange is open
    std::uint32_t attempts_ = 0;       ///< to read the checksum, or to restart the ECU
    std::uint8_t tick_delay_ = 0;      ///< seconds during which ticks do nothing

    std::mutex starting_; ///< held while an update is chosen and parsed
    bool closed_ = false; ///< guarded by `starting_`
    /// Written before `state` leaves idle, taken over by the bus thread after.
    std::optional<Update_choice> choice_;

    std::unique_ptr<Worker> worker_; ///< of the step that runs over the wireless node

    const Options& options_;
    const Inventory& inventory_;
    const Own_ecu& own_ecu_;
    std::function<void(int status)> end_process_;
};

} // namespace qv::can_bus::flr
