// Feeds the input as a stream of frames and ticks into a whole bus with one local ECU that holds its address.
//
// A step begins with one byte. Bit 7 set: so many milliseconds x 8 pass. Else a frame follows, of as many data
// bytes as the low 4 bits tell (at most 8). Bit 6 set: one byte picks a parameter group of the stack, one byte
// sender and destination. Else four bytes are the identifier.

#include <algorithm>
#include <array>
#include <cstdlib>

#include "can/bus/frame_observer.h"
#include "can/hardware/frame_message.h"
#include "can/network/bus.h"
#include "can/network/ecu/ecu_message.h"
#include "comm/master.h"
#include "comm/time_message.h"
#include "framework/log/hook.h"
#include "fuzz/input_file.h"

namespace {

using qv::comm::message::time_elapsed::Time_elapsed;
namespace pgn = qv::can_bus::pdu::pgn;

constexpr std::uint32_t own_address = 0x80;
// clang-format off
constexpr std::array groups = {
    pgn::extended_transport_data,  pgn::extended_transport_connection,
    pgn::memory_access_data,       pgn::memory_access_response,
    pgn::acknowledgment,           pgn::request,
    pgn::transport_data,           pgn::transport_connection,
    pgn::address_claimed,          pgn::proprietary_a,
    pgn::product_identification,   pgn::ecu_identification,
    pgn::wheel_speed_distance,     pgn::ground_speed_distance,
    pgn::trouble_codes_active,     pgn::software_identification,
    pgn::component_identification, pgn::trouble_codes_previous_active,
    pgn::working_set_member,       pgn::working_set_master,
    // positions of one frame, then those of many [NMEA 2000]
    126992U, 127251U, 127257U, 129025U, 129026U, 129027U, 129028U, 129033U, 129283U, 129539U,
    129029U, 129540U, 129792U,
    // what the log explains: from the terminal, to it, process data
    58880U, 59136U, 51968U,
};
// clang-format on

/// A log that wants all and keeps nothing.
class Forgetful_log final : public qv::log::Sink {
public:
    Forgetful_log() { qv::log::set_sink(this); }
    bool accepts(qv::log::Level /*level*/) const override { return true; }
    void write(qv::log::Level /*level*/, qv::log::Client /*client*/, qv::string::Utf_8_string /*text*/) override {}
    qv::log::Client register_client(std::string_view /*name*/) override { return 0; }
};

qv::can_bus::bus::properties::Properties properties()
{
    qv::can_bus::bus::properties::Properties result;
    result.pdu_log_enabled = true;
    result.pdu_log_annotate = true;
    return result;
}

/// The input, byte by byte; zeroes behind its end.
struct Input {
    std::uint8_t next() { return size == 0 ? std::uint8_t{0} : (--size, *data++); }
    const std::uint8_t* data;
    std::size_t size;
};

/// One bus with its ECU, driven by hand.
class Whole_bus {
public:
    Whole_bus()
        : bus_(qv::can_bus::bus::Bus::create(properties(), nullptr, [](qv::can_bus::bus::Bus& bus) {
            return std::make_shared<qv::can_bus::bus::Frame_observer>(bus);
        }))
    {
        ecu_ = bus_->create_ecu(0xA000810012E00001, {});
        ecu_->dispatcher()->post(std::make_unique<qv::can_bus::ecu::message::address::Start_claim>(own_address));
        for (int tick = 0; tick < 4; ++tick) {
            pass(300);
        }
        if (!ecu_->is_claimed()) {
            std::abort();
        }
    }

    void pass(std::uint32_t milliseconds)
    {
        bus_->dispatcher()->post(std::make_unique<Time_elapsed>(milliseconds));
        ecu_->dispatcher()->post(std::make_unique<Time_elapsed>(milliseconds));
        drain();
    }

    void receive(std::uint32_t identifier, std::span<const std::uint8_t> bytes)
    {
        bus_->dispatcher()->post(std::make_unique<qv::can_bus::frame::message::Received>(bytes, identifier));
        drain();
    }

private:
    void drain()
    {
        bus_->dispatcher()->process_queue();
        ecu_->dispatcher()->process_queue();
        bus_->dispatcher()->process_queue();
    }

    std::unique_ptr<qv::can_bus::bus::Bus> bus_;
    std::shared_ptr<qv::can_bus::ecu::ECU> ecu_;
};

std::uint32_t identifier_of(Input& input, bool picked)
{
    if (!picked) {
        std::uint32_t identifier = 0;
        for (int byte = 0; byte < 4; ++byte) {
            identifier = identifier << 8 | input.next();
        }
        return identifier & 0x1FFFFFFF;
    }
    const auto group = groups.at(input.next() % groups.size());
    const auto parties = input.next();
    const std::uint32_t destination = (parties & 1) != 0 ? 255 : own_address;
    const std::uint32_t source = (parties & 2) != 0 ? own_address : 0x20U + (parties >> 2 & 7U);
    return qv::can_bus::pdu::identifier(6, group, destination, source);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool started = qv::comm::core_start(0);
    if (!started) {
        std::abort();
    }
    static const Forgetful_log log;
    fuzz::silence_output();
    Whole_bus bus;
    for (std::uint8_t sender = 0; sender < 4; ++sender) { // senders of which the stack knows
        const std::array<std::uint8_t, 8> name{sender, 0, 0xE0, 0x12, 0, 0x17, 0, 0xA0};
        bus.receive(0x18EEFF20U + sender, name);
    }
    Input input{data, size};
    while (input.size > 0) {
        const auto step = input.next();
        if ((step & 0x80) != 0) {
            bus.pass((step & 0x7FU) * 8);
            continue;
        }
        const auto identifier = identifier_of(input, (step & 0x40) != 0);
        std::array<std::uint8_t, 8> bytes{};
        const auto length = std::min<std::size_t>(step & 0x0F, bytes.size());
        std::generate_n(bytes.begin(), length, [&input] { return input.next(); });
        bus.receive(identifier, std::span(bytes).first(length));
    }
    return 0;
}
