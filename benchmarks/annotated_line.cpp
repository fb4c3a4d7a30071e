// Measures what one PDU costs the bus thread when it is logged: the way from its envelope to a log that takes the
// line and drops it. The PDU is an address claim, which has the longest annotation. Prints the nanoseconds with
// the log off, with the log on, and with annotation, the best of some rounds, and the characters of the annotated
// line.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <limits>
#include <memory>

#include "can/network/bus.h"
#include "can/network/pdu/message_assigned_id.h"
#include "comm/master.h"
#include "framework/log/hook.h"

namespace {

using qv::can_bus::bus::Bus;

constexpr unsigned pdus = 2'000;
constexpr int rounds = 200;

class Drain final : public qv::log::Sink {
public:
    bool accepts(qv::log::Level /*level*/) const override { return true; }
    void write(qv::log::Level /*level*/, qv::log::Client /*client*/, qv::string::Utf_8_string text) override
    {
        characters = text.size();
        ++lines;
    }
    qv::log::Client register_client(std::string_view /*name*/) override { return 1; }

    std::size_t lines = 0;
    std::size_t characters = 0; ///< of the last line
};

/// Nanoseconds a PDU.
double measure(Bus& bus)
{
    const std::array<std::uint8_t, 8> name{0x45, 0x23, 0x21, 0x00, 0x1A, 0x82, 0x0C, 0x20};
    qv::can_bus::pdu::Message_assigned_id envelope(
        std::make_unique<qv::can_bus::pdu::PDU>(0x18EEFF42, qv::Byte_array(name)));
    const auto start = std::chrono::steady_clock::now();
    for (unsigned count = 0; count < pdus; ++count) {
        bus.dispatcher()->notify(envelope);
    }
    const std::chrono::duration<double, std::nano> passed = std::chrono::steady_clock::now() - start;
    return passed.count() / pdus;
}

/// The best of some rounds; negative when not every PDU gave its line.
double measure(Drain& log, bool enabled, bool annotated)
{
    qv::can_bus::bus::properties::Properties properties;
    properties.pdu_log_enabled = enabled;
    properties.pdu_log_annotate = annotated;
    const auto bus = Bus::create(properties, nullptr, nullptr);
    double best = std::numeric_limits<double>::max();
    log.lines = 0;
    for (int round = 0; bus && round < rounds; ++round) {
        best = std::min(best, measure(*bus));
    }
    return bus && log.lines == (enabled ? pdus * rounds : 0) ? best : -1;
}

} // namespace

int main()
{
    if (!qv::comm::core_start(0)) {
        return 1;
    }
    Drain log;
    qv::log::set_sink(&log);
    const double off = measure(log, false, true);
    const double plain = measure(log, true, false);
    const double annotated = measure(log, true, true);
    qv::log::set_sink(nullptr);
    qv::comm::master_stop();
    std::printf("%.0f %.0f %.0f %zu\n", off, plain, annotated, log.characters);
    return off < 0 || plain < 0 || annotated < 0 ? 1 : 0;
}
