#include "bench/wifi_node/gateway.h"

#include <algorithm>
#include <array>
#include <utility>

namespace bench::wifi {
namespace {

using simulated::global_address;
namespace pgn = simulated::pgn;

constexpr std::uint32_t gateway_report = 65441; // proprietary B
constexpr std::uint32_t priority = 6;           // SAE J1939-21: claims and answers
constexpr std::uint32_t priority_transport = 7; // ISO 11783-3
constexpr std::size_t held_maximum = 32;

/// The kind of report, then six fields with "*" between them, the third of which is the host name.
std::string report_text(const Gateway::Settings& node)
{
    const auto& ecu = node.identification;
    return "\x01"
           "1*gateway*" +
           node.host_name + '*' + ecu.part_number + '*' + ecu.serial_number + '*' + ecu.type;
}

} // namespace

Gateway::Gateway(Outside& outside, Settings settings)
    : outside_(outside)
    , settings_(std::move(settings))
    , claim_(*this, settings_.name)
    , transport_(*this, 255)
{}

void Gateway::start(Time now)
{
    stop();
    claim_.start(settings_.address, now);
    if (settings_.report_gap > Time::zero()) {
        report_timer_.start(now, settings_.report_gap);
    }
}

void Gateway::stop() noexcept
{
    held_.clear();
    transport_.clear();
    claim_.stop();
    report_timer_.stop();
}

void Gateway::on_frame(const Record& record, Time now)
{
    const auto header = simulated::header_of(record);
    if (!header || !claim_.present()) {
        return;
    }
    const bool global = header->destination == global_address;
    const Bytes data = Bytes(record.data).first(record.length);
    if (!global && header->destination != claim_.address()) {
        return;
    }
    if (header->pgn == pgn::address_claimed && data.size() == 8) {
        const std::uint64_t low = simulated::little_endian(data, 0, 4);
        claim_.on_claim(header->source, (std::uint64_t{simulated::little_endian(data, 4, 4)} << 32) | low, now);
    } else if (header->pgn == pgn::request && data.size() >= 3) {
        on_question({header->source, global, simulated::little_endian(data, 0, 3)}, now);
    } else if (!global && header->pgn == pgn::transport_connection) {
        transport_.on_connection_frame(header->source, false, data, now);
    } else if (!global && header->pgn == pgn::transport_data) {
        transport_.on_data_frame(header->source, false, data, now);
    }
}

void Gateway::on_question(const Question& question, Time now)
{
    if (question.pgn == pgn::address_claimed) {
        return claim_.on_request();
    }
    if (claim_.claimed()) {
        return answer(question, now);
    }
    if (held_.size() < held_maximum) {
        held_.push_back(question);
    }
}

/// All its answers are longer than a frame. What it doesn't have it refuses to a single one who asks
/// [SAE J1939-21 5.4.4].
void Gateway::answer(const Question& question, Time now)
{
    if (const auto data = settings_.identification.answer(question.pgn)) {
        return transport_.send(question.pgn, question.global ? global_address : question.source, *data, now);
    }
    if (!question.global) {
        const std::array<std::uint8_t, 8> refusal{1,
                                                  0xFF,
                                                  0xFF,
                                                  0xFF,
                                                  question.source,
                                                  simulated::byte_of(question.pgn, 0),
                                                  simulated::byte_of(question.pgn, 1),
                                                  simulated::byte_of(question.pgn, 2)};
        outside_.send(
            simulated::frame(priority, {pgn::acknowledgement, global_address, claim_.address()}, refusal));
    }
}

void Gateway::send_claim(std::uint8_t source, std::uint64_t name)
{
    std::array<std::uint8_t, 8> data{};
    for (unsigned i = 0; i < data.size(); ++i) {
        data[i] = simulated::byte_of(name, i);
    }
    outside_.send(simulated::frame(priority, {pgn::address_claimed, global_address, source}, data));
}

void Gateway::send_frame(std::uint32_t pgn, std::uint8_t destination, Bytes data)
{
    if (claim_.claimed()) {
        outside_.send(simulated::frame(priority_transport, {pgn, destination, claim_.address()}, data));
    }
}

void Gateway::on_time(Time now)
{
    claim_.on_time(now);
    transport_.on_time(now);
    if (!claim_.claimed()) {
        return;
    }
    for (const Question& each : std::exchange(held_, {})) {
        answer(each, now);
    }
    if (report_timer_.ended(now)) {
        send_report(now);
    }
}

void Gateway::send_report(Time now)
{
    const std::string text = report_text(settings_);
    transport_.send(gateway_report, global_address, std::vector<std::uint8_t>(text.begin(), text.end()), now);
    report_timer_.start(now, settings_.report_gap);
}

/// The report waits for the end of the claim.
Time Gateway::next() const noexcept
{
    const Time report = claim_.claimed() ? report_timer_.due() : simulated::never;
    return std::min({claim_.next(), transport_.next(), report});
}

} // namespace bench::wifi
