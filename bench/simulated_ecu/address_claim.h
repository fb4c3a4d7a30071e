#pragma once

#include "bench/simulated_ecu/timer.h"

#include <bitset>
#include <cstdint>
#include <string>

namespace bench::simulated {

/// Gets the ECU its address and defends it [ISO 11783-5 4.4].
///
/// A claim goes out; after 250 ms without a better NAME the address is the ECU's. Who loses it and has the
/// self-configurable bit in its NAME takes the next address that nobody was heard to claim; who has not says
/// "cannot claim" and is off the bus from then on.
class Address_claim {
public:
    class Host {
    public:
        virtual ~Host() = default;
        /// Sends the address claimed message with this source address (254: cannot claim).
        virtual void send_claim(std::uint8_t source, std::uint64_t name) = 0;
        virtual void report(const std::string& text) = 0;
    };

    /// `host` outlives this.
    Address_claim(Host& host, std::uint64_t name) noexcept
        : host_(host)
        , name_(name)
    {}

    void start(std::uint8_t address, Time now);
    void stop() noexcept; ///< off the bus; nothing is claimed or defended

    void on_claim(std::uint8_t source, std::uint64_t name, Time now);
    void on_request(); ///< someone asks who is there
    void on_time(Time now);
    [[nodiscard]] Time next() const noexcept { return timer_.due(); }

    [[nodiscard]] bool claimed() const noexcept { return state_ == State::claimed; }
    /// The address is claimed, or is being claimed right now.
    [[nodiscard]] bool present() const noexcept { return claimed() || state_ == State::claiming; }
    [[nodiscard]] std::uint8_t address() const noexcept { return address_; }

private:
    enum class State {
        off,
        claiming,     ///< claim sent, waits 250 ms for a better NAME
        claimed,      ///< the address may be used
        losing,       ///< "cannot claim" waits for its delay
        cannot_claim, ///< only requests for the claim are answered
    };

    void claim(std::uint8_t address, Time now);
    void lose(std::uint64_t winner, Time now);
    [[nodiscard]] int free_address() const noexcept;

    Host& host_;
    std::uint64_t name_;
    State state_ = State::off;
    std::uint8_t address_ = 254;
    std::bitset<256> taken_; ///< addresses that others were heard to claim
    Timer timer_;
};

} // namespace bench::simulated
