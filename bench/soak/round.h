#pragma once

#include <chrono>
#include <cstdint>
#include <random>
#include <string>

#include "bench/harness/bench.h"

namespace soak {

/// One start of the service and its stop.
struct Round {
    enum class Moment : std::uint8_t {
        at_once,     ///< as soon as the process is there
        early,       ///< while the layers come up
        claiming,    ///< while the address claim waits
        after_claim, ///< the own address is held
    };
    std::string program;
    int signal = 0;
    Moment moment = Moment::at_once;
    std::chrono::milliseconds delay{}; ///< from the start, or from the claim, to the signal
    std::chrono::seconds limit{};      ///< for the claim, and again for the end
};

/// How far the service had come when the signal reached it.
enum class Reached : std::uint8_t { nothing, handlers, claim };

/// The round of this number: signals and moments in turn, the delay by chance.
Round round_of(std::uint32_t number, std::mt19937& random);

/// Starts the service, stops it, and looks at what it left. Throws std::runtime_error, with the round and the
/// words of the service, when it hangs, ends otherwise than its signal wants, or leaves a damaged configuration.
Reached play(const Round& round, harness::Bench& bench);

} // namespace soak
