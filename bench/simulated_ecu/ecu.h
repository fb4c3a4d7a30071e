#pragma once

#include "bench/simulated_ecu/address_claim.h"
#include "bench/simulated_ecu/bootloader.h"
#include "bench/simulated_ecu/faults.h"
#include "bench/simulated_ecu/flash.h"
#include "bench/simulated_ecu/identification.h"
#include "bench/simulated_ecu/transport.h"

#include <optional>
#include <string>
#include <vector>

namespace bench::simulated {

/// A whole ECU on one bus: takes frames and time, gives frames and a line of text for all that happens to it.
///
/// Thread: any one. It never waits, and never reads a clock.
class Ecu final : Address_claim::Host, Transport::Host, Bootloader::Host {
public:
    class Outside {
    public:
        virtual ~Outside() = default;
        virtual void send(const Record& record) = 0;
        virtual void report(const std::string& text) = 0;
        virtual void save(const Flash& flash) = 0; ///< an update is complete
        /// Goes over to another bit rate. False when the bus does not do that.
        virtual bool set_rate(std::uint32_t rate) = 0;
    };
    struct Settings {
        std::uint64_t name = 0xA0088400FFE00001; ///< self-configurable, agricultural, manufacturer 2047, number 1
        std::uint8_t address = 0x80;
        Identification identification;
        std::string new_version = "2.0.0"; ///< the application's after a complete update
        Flash::Layout flash;
        std::uint8_t cts_window = 255;
        Bootloader::Settings bootloader;
        Faults::Orders faults;
        Time restart_delay{300};
        bool no_return = false;                     ///< stays away after the restart
        std::optional<std::uint8_t> return_address; ///< claimed after the restart, instead of the present one
    };

    /// `outside` outlives this.
    Ecu(Outside& outside, const Settings& settings);

    void start(Time now); ///< the bus is there: claims the address, also when it was away in between
    void on_frame(const Record& record, Time now);
    void on_time(Time now);
    [[nodiscard]] Time next() const noexcept; ///< when `on_time` wants to be called; `never` when not at all

    [[nodiscard]] const Flash& flash() const noexcept { return flash_; }

private:
    struct Held_request {
        std::uint8_t source = 0;
        bool global = false;
        std::uint32_t pgn = 0;
    };

    void send_claim(std::uint8_t source, std::uint64_t name) override;
    void send_frame(std::uint32_t pgn, std::uint8_t destination, Bytes data) override;
    void on_message(std::uint8_t source, std::uint32_t pgn, Bytes data, Time now) override;
    bool on_halfway(std::uint8_t source, std::uint32_t pgn) override;
    void send(std::uint32_t pgn, std::uint8_t destination, Bytes data, Time now) override;
    void report(const std::string& text) override { outside_.report(text); }
    void restart(bool updated, Time now) override;
    void fall_silent() override { silent_ = true; }
    void set_rate(std::uint32_t rate) override;

    void on_claim(std::uint8_t source, Bytes data, Time now);
    void on_requested(const Held_request& request, Time now);
    void answer(const Held_request& request, Time now);
    void on_specific(const Header& header, Bytes data, Time now);
    void transmit(std::uint32_t priority, const Header& header, Bytes data);
    void return_to_bus(Time now);

    Outside& outside_;
    Settings settings_;
    Faults faults_;
    Flash flash_;
    Address_claim claim_;
    Transport transport_;
    Bootloader bootloader_;
    bool silent_ = false; ///< dead to the bus, for good
    Timer restart_;       ///< runs while the ECU is away for its restart
    std::uint32_t rate_;  ///< of the bus, in bits per second
    Timer rate_back_;     ///< runs from the restart at a rate of the tool's to the return to the own one
    std::vector<Held_request> held_; ///< came within the 250 ms of the claim, and are answered after them
};

} // namespace bench::simulated
