#include "bench/simulated_ecu/address_claim.h"

#include "bench/simulated_ecu/pdu.h"
#include "bench/simulated_ecu/text.h"

namespace bench::simulated {
namespace {

constexpr Time contention_time{250};
constexpr std::uint64_t self_configurable = 1ULL << 63;
constexpr int first_dynamic = 128; ///< ISO 11783-5: the range for self-configurable control functions
constexpr int last_dynamic = 235;

/// RTxD, 0 to 153 ms [ISO 11783-5 4.4.2.4]; random to the bus, the same for a NAME at each run.
Time cannot_claim_delay(std::uint64_t name) { return Time(name % 154); }

} // namespace

void Address_claim::start(std::uint8_t address, Time now)
{
    taken_.reset();
    claim(address, now);
}

void Address_claim::stop() noexcept
{
    state_ = State::off;
    timer_.stop();
}

void Address_claim::claim(std::uint8_t address, Time now)
{
    address_ = address;
    state_ = State::claiming;
    timer_.start(now, contention_time);
    host_.send_claim(address_, name_);
}

void Address_claim::on_claim(std::uint8_t source, std::uint64_t name, Time now)
{
    taken_.set(source);
    if (!present() || source != address_ || name == name_) {
        return;
    }
    if (name_ < name) { // the lower NAME has the higher priority
        host_.send_claim(address_, name_);
    } else {
        lose(name, now);
    }
}

void Address_claim::lose(std::uint64_t winner, Time now)
{
    host_.report(format("address 0x%02X lost to NAME %016llX", address_, static_cast<unsigned long long>(winner)));
    const int other = (name_ & self_configurable) != 0 ? free_address() : -1;
    if (other >= 0) {
        return claim(static_cast<std::uint8_t>(other), now);
    }
    state_ = State::losing;
    address_ = null_address;
    timer_.start(now, cannot_claim_delay(name_));
}

int Address_claim::free_address() const noexcept
{
    for (int address = first_dynamic; address <= last_dynamic; ++address) {
        if (!taken_.test(static_cast<std::size_t>(address))) {
            return address;
        }
    }
    return -1;
}

void Address_claim::on_request()
{
    switch (state_) {
        case State::off:
        case State::losing: return; // the message is under way
        case State::claiming:
        case State::claimed:
        case State::cannot_claim: return host_.send_claim(address_, name_);
    }
}

void Address_claim::on_time(Time now)
{
    if (!timer_.ended(now)) {
        return;
    }
    timer_.stop();
    if (state_ == State::claiming) {
        state_ = State::claimed;
        host_.report(format("address 0x%02X claimed", address_));
    } else if (state_ == State::losing) {
        state_ = State::cannot_claim;
        host_.send_claim(null_address, name_);
        host_.report("no address left to claim");
    }
}

} // namespace bench::simulated
