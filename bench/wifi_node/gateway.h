#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/simulated_ecu/address_claim.h"
#include "bench/simulated_ecu/identification.h"
#include "bench/simulated_ecu/pdu.h"
#include "bench/simulated_ecu/timer.h"
#include "bench/simulated_ecu/transport.h"

namespace bench::wifi {

using simulated::Bytes;
using simulated::Time;

/// The node's side of the bus: claims an address, says who it is when asked, and reports again and again by which
/// host name it is reached (proprietary B, PGN 65441).
///
/// Thread: any one. It never waits, and never reads a clock.
class Gateway final : simulated::Address_claim::Host, simulated::Transport::Host {
public:
    class Outside {
    public:
        virtual ~Outside() = default;
        virtual void send(const Record& record) = 0;
        virtual void report(const std::string& text) = 0;
    };
    struct Settings {
        std::uint64_t name = 0xA000840012E00010; ///< self-configurable, agricultural, manufacturer 151, number 16
        std::uint8_t address = 0x90;
        simulated::Identification identification;
        std::string host_name = "node-1"; ///< without ".local"
        Time report_gap{2000};            ///< 0: no report
    };

    /// `outside` outlives this.
    Gateway(Outside& outside, Settings settings);

    void start(Time now); ///< claims the address
    void stop() noexcept; ///< off the bus
    void set_version(const std::string& version) { settings_.identification.version = version; }

    void on_frame(const Record& record, Time now);
    void on_time(Time now);
    [[nodiscard]] Time next() const noexcept;

private:
    struct Question {
        std::uint8_t source = 0;
        bool global = false;
        std::uint32_t pgn = 0;
    };

    void send_claim(std::uint8_t source, std::uint64_t name) override;
    void send_frame(std::uint32_t pgn, std::uint8_t destination, Bytes data) override;
    void on_message(std::uint8_t, std::uint32_t, Bytes, Time) override {} ///< nothing that long is for the node
    bool on_halfway(std::uint8_t, std::uint32_t) override { return true; }
    void report(const std::string& text) override { outside_.report(text); }

    void on_question(const Question& question, Time now);
    void answer(const Question& question, Time now);
    void send_report(Time now);

    Outside& outside_;
    Settings settings_;
    simulated::Address_claim claim_;
    simulated::Transport transport_;
    simulated::Timer report_timer_;
    std::vector<Question> held_; ///< came within the 250 ms of the claim, and are answered after them
};

} // namespace bench::wifi
