#include "bench/simulated_ecu/ecu.h"

#include "bench/simulated_ecu/text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace bench::simulated {
namespace {

constexpr std::uint32_t priority_default = 6;   ///< SAE J1939-21, requests, answers, claims
constexpr std::uint32_t priority_transport = 7; ///< ISO 11783-3
constexpr std::size_t held_maximum = 32;
constexpr std::uint32_t rate_default = 250'000; ///< ISO 11783-2
constexpr Time rate_hold{
    3000}; ///< the restarted ECU can be heard so long at the rate of the tool, which then leaves it

} // namespace

Ecu::Ecu(Outside& outside, const Settings& settings)
    : outside_(outside)
    , settings_(settings)
    , faults_(settings.faults)
    , flash_(settings.flash)
    , claim_(*this, settings.name)
    , transport_(*this, settings.cts_window)
    , bootloader_(*this, flash_, faults_, settings.bootloader)
    , rate_(rate_default)
{}

void Ecu::start(Time now)
{
    if (silent_ || restart_.due() != never) {
        return;
    }
    held_.clear();
    transport_.clear();
    claim_.start(settings_.address, now);
}

// Frames in

void Ecu::on_frame(const Record& record, Time now)
{
    const auto header = header_of(record);
    if (silent_ || restart_.due() != never || !header) {
        return;
    }
    const bool global = header->destination == global_address;
    if (!global && (!claim_.present() || header->destination != claim_.address())) {
        return;
    }
    if (!global && faults_.deaf(header->pgn)) {
        return;
    }
    const Bytes data = Bytes(record.data).first(record.length);
    if (header->pgn == pgn::address_claimed) {
        on_claim(header->source, data, now);
    } else if (header->pgn == pgn::request && data.size() >= 3) {
        on_requested({header->source, global, little_endian(data, 0, 3)}, now);
    } else if (!global && claim_.claimed()) {
        on_specific(*header, data, now);
    }
}

void Ecu::on_claim(std::uint8_t source, Bytes data, Time now)
{
    if (data.size() != 8) {
        return;
    }
    const std::uint64_t name =
        (std::uint64_t{little_endian(data, 4, 4)} << 32) | std::uint64_t{little_endian(data, 0, 4)};
    const std::uint8_t before = claim_.address();
    claim_.on_claim(source, name, now);
    if (claim_.address() != before) {
        transport_.clear();
    }
}

void Ecu::on_requested(const Held_request& request, Time now)
{
    if (request.pgn == pgn::address_claimed) {
        return claim_.on_request();
    }
    if (claim_.claimed()) {
        return answer(request, now);
    }
    if (claim_.present() && held_.size() < held_maximum) {
        held_.push_back(request);
    }
}

/// A PGN that the ECU doesn't have is refused to the one who asked for it, and passed over when all were asked
/// [SAE J1939-21 5.4.2, 5.4.4].
void Ecu::answer(const Held_request& request, Time now)
{
    if (const auto data = settings_.identification.answer(request.pgn)) {
        return send(request.pgn, request.global ? global_address : request.source, *data, now);
    }
    if (!request.global) {
        const std::array<std::uint8_t, 8> refusal{1,
                                                  0xFF,
                                                  0xFF,
                                                  0xFF,
                                                  request.source,
                                                  byte_of(request.pgn, 0),
                                                  byte_of(request.pgn, 1),
                                                  byte_of(request.pgn, 2)};
        send(pgn::acknowledgement, global_address, refusal, now);
    }
}

void Ecu::on_specific(const Header& header, Bytes data, Time now)
{
    switch (header.pgn) {
        case pgn::transport_connection: return transport_.on_connection_frame(header.source, false, data, now);
        case pgn::transport_data: return transport_.on_data_frame(header.source, false, data, now);
        default: return on_message(header.source, header.pgn, data, now);
    }
}

void Ecu::on_message(std::uint8_t source, std::uint32_t pgn, Bytes data, Time now)
{
    if (pgn == pgn::memory_request) {
        bootloader_.on_request(source, data, now);
    } else if (pgn == pgn::binary_data) {
        bootloader_.on_data(source, data, now);
    }
}

bool Ecu::on_halfway(std::uint8_t source, std::uint32_t pgn)
{
    if (pgn != pgn::binary_data || !bootloader_.awaits_chunk(source)) {
        return true;
    }
    if (faults_.on_step(Step::data) == Faults::Verdict::silent) {
        report("silent from here: in the middle of the data");
        fall_silent();
        return true;
    }
    if (faults_.abort_transport()) {
        report("transport aborted in the middle of the data");
        return false;
    }
    return true;
}

// Frames out

void Ecu::send_claim(std::uint8_t source, std::uint64_t name)
{
    std::array<std::uint8_t, 8> data{};
    for (unsigned i = 0; i < 8; ++i) {
        data[i] = byte_of(name, i);
    }
    transmit(priority_default, {pgn::address_claimed, global_address, source}, data);
}

void Ecu::send_frame(std::uint32_t pgn, std::uint8_t destination, Bytes data)
{
    if (claim_.claimed()) {
        transmit(priority_transport, {pgn, destination, claim_.address()}, data);
    }
}

void Ecu::send(std::uint32_t pgn, std::uint8_t destination, Bytes data, Time now)
{
    if (!claim_.claimed()) {
        return;
    }
    if (data.size() > 8) {
        return transport_.send(pgn, destination, data, now);
    }
    transmit(priority_default, {pgn, destination, claim_.address()}, data);
}

void Ecu::transmit(std::uint32_t priority, const Header& header, Bytes data)
{
    if (silent_ || faults_.lose(header.pgn)) {
        return;
    }
    const Record record = frame(priority, header, data);
    outside_.send(record);
    if (faults_.repeat(header.pgn)) {
        outside_.send(record);
    }
}

// Time

void Ecu::restart(bool updated, Time now)
{
    bootloader_.start_application();
    transport_.clear();
    claim_.stop();
    if (updated) {
        settings_.identification.version = settings_.new_version;
        outside_.save(flash_);
    }
    if (settings_.no_return) {
        report("off the bus, does not return");
        return fall_silent();
    }
    restart_.start(now, settings_.restart_delay);
}

void Ecu::return_to_bus(Time now)
{
    restart_.stop();
    if (settings_.return_address) {
        settings_.address = *settings_.return_address;
    }
    report("restarted, version " + settings_.identification.version);
    start(now);
    if (rate_ != rate_default) {
        rate_back_.start(now, rate_hold);
    }
}

void Ecu::set_rate(std::uint32_t rate)
{
    const bool done = outside_.set_rate(rate);
    report((done ? "bit rate " : "cannot set the bit rate ") + std::to_string(rate));
    rate_ = rate;
}

void Ecu::on_time(Time now)
{
    if (silent_) {
        return;
    }
    if (restart_.ended(now)) {
        return_to_bus(now);
    }
    if (rate_back_.ended(now)) {
        rate_back_.stop();
        set_rate(rate_default);
    }
    claim_.on_time(now);
    transport_.on_time(now);
    bootloader_.on_time(now);
    if (claim_.claimed()) {
        for (const Held_request& each : std::exchange(held_, {})) {
            answer(each, now);
        }
    }
}

Time Ecu::next() const noexcept
{
    return silent_ ? never
                   : std::min(
                         {restart_.due(), rate_back_.due(), claim_.next(), transport_.next(), bootloader_.next()});
}

} // namespace bench::simulated
