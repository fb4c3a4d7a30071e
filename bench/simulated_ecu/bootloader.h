#pragma once

#include "bench/simulated_ecu/faults.h"
#include "bench/simulated_ecu/flash.h"
#include "bench/simulated_ecu/pdu.h"
#include "bench/simulated_ecu/timer.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace bench::simulated {

/// The server's side of the memory access exchanges [SAE J1939-73, DM14, DM15, DM16], and with them the
/// bootloader of the ECU. The running application knows one request, the one to enter the bootloader.
class Bootloader {
public:
    class Host {
    public:
        virtual ~Host() = default;
        /// A message of any length.
        virtual void send(std::uint32_t pgn, std::uint8_t destination, Bytes data, Time now) = 0;
        virtual void report(const std::string& text) = 0;
        /// The tool closed the last exchange: leave the bootloader. `updated`: new software was written.
        virtual void restart(bool updated, Time now) = 0;
        virtual void fall_silent() = 0;
        /// The programming goes on at another bit rate, in bits per second.
        virtual void set_rate(std::uint32_t rate) = 0;
    };
    struct Settings {
        std::optional<std::uint16_t> seed; ///< asks for a key when set
        bool heartbeat = true;
        Time heartbeat_gap{250};
        Time answer_delay{0};
        Time erase_delay{0};              ///< for each sector, on top of the answer's
        Time write_delay{0};              ///< for each chunk, on top of the answer's
        std::uint8_t checksum_length = 4; ///< what byte 0 of the checksum's message says
        bool verbose = false;             ///< reports each chunk
    };

    /// `host`, `flash` and `faults` outlive this.
    Bootloader(Host& host, Flash& flash, Faults& faults, const Settings& settings)
        : host_(host)
        , flash_(flash)
        , faults_(faults)
        , settings_(settings)
    {}

    void on_request(std::uint8_t source, Bytes data, Time now); ///< DM14
    void on_data(std::uint8_t source, Bytes data, Time now);    ///< DM16, whole
    void on_time(Time now);
    [[nodiscard]] Time next() const noexcept;
    void start_application() noexcept; ///< after a restart

    /// A chunk from `source` is expected or under way.
    [[nodiscard]] bool awaits_chunk(std::uint8_t source) const noexcept;

private:
    enum class State {
        idle,
        proceeding,     ///< accepted, Proceed waits for its delay
        awaiting_data,  ///< Proceed went out, the tool sends DM16
        working,        ///< Operation Completed waits for its delay
        awaiting_close, ///< Operation Completed went out
    };
    enum class Status : std::uint8_t { proceed = 0, busy = 1, completed = 4, failed = 5 };
    struct Request {
        std::uint16_t length = 0;
        bool spatial = false; ///< the pointer type
        std::uint8_t command = 0;
        std::uint32_t pointer = 0;
        std::uint16_t key = 0;
    };

    [[nodiscard]] static Request parse(Bytes data) noexcept;
    [[nodiscard]] std::optional<Step> step_of(const Request& request) const noexcept;

    void open(const Request& request, Step step, Time now);
    [[nodiscard]] bool unlocked(const Request& request, Step step, Time now);
    void proceed(Time now);
    void work(Time delay, Time now);
    void finish(Time now);
    void close(Time now);
    void fail(const std::string& why, Time now);

    void enter(Time now);
    void erase(Time now);
    void write(Time now);
    void answer_checksum(Time now);
    void check_checksum(Time now);
    void change_rate(Time now);

    void after(Time delay, State state, Time now);
    void complete(Time now);
    void respond(std::uint8_t destination, Status status, std::uint16_t length, std::uint16_t seed, Time now);
    void send_heartbeat(Time now);
    [[nodiscard]] std::optional<std::uint32_t> received_value() const noexcept;

    Host& host_;
    Flash& flash_;
    Faults& faults_;
    Settings settings_;

    bool in_bootloader_ = false;
    State state_ = State::idle;
    Step step_ = Step::enter;
    Request request_;
    std::uint8_t tool_ = null_address;
    std::optional<Step> seeded_;     ///< the step whose request was answered with the seed
    std::vector<std::uint8_t> data_; ///< of the DM16, without its first byte
    Timer timer_;
    Timer heartbeat_;
    std::uint8_t heartbeat_count_ = 0;
    unsigned chunks_ = 0;
    bool restart_pending_ = false; ///< the checksum was right; the close starts it
};

} // namespace bench::simulated
