// A hostile ECU against the whole service: the session, the list of ECUs, and the CAN stack below them.
//
// The first byte gives the options: bit 0 another bit rate, bit 1 verbose, bit 2 quiet. Then steps follow. Each
// begins with one byte, of which the two upper bits tell what it is:
//   00  the user acknowledges, starts an update, or clears the list, by the lower bits modulo 3
//   01  so many milliseconds x 8 pass
//   10  so many seconds pass
//   11  a frame comes with as many data bytes as the low 4 bits tell (at most 8). Bit 4 set: one byte picks a
//       parameter group of the service, one byte sender and destination. Else four bytes are the identifier.
// At the end the ECU falls silent, and the session has to come to rest.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include "can/bus/frame_observer.h"
#include "can/hardware/frame_message.h"
#include "can/network/bus.h"
#include "comm/master.h"
#include "comm/time_message.h"
#include "config/primary.h"
#include "framework/thread/pause.h"
#include "fuzz/input_file.h"
#include "service/flintrow.h"

namespace {

using qv::can_bus::flr::Flintrow;
using qv::can_bus::flr::Inventory;
using qv::can_bus::flr::Session;
using qv::can_bus::flr::State;
namespace bus = qv::can_bus::bus;
namespace pgn = qv::can_bus::pdu::pgn;
namespace time_elapsed = qv::comm::message::time_elapsed;

constexpr std::uint32_t own_address = 249;
constexpr int silence = 120; ///< seconds; no state waits that long
constexpr std::array groups = {
    pgn::memory_access_response,  pgn::memory_access_data,       pgn::proprietary_a,
    pgn::software_identification, pgn::ecu_identification,       pgn::address_claimed,
    pgn::transport_connection,    pgn::transport_data,           pgn::extended_transport_connection,
    pgn::extended_transport_data, pgn::proprietary_b_gateway,    pgn::request,
    pgn::acknowledgment,          pgn::component_identification,
};

void require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

/// The input, byte by byte; zeroes behind its end.
struct Input {
    std::uint8_t next() { return size == 0 ? std::uint8_t{0} : (--size, *data++); }
    const std::uint8_t* data;
    std::size_t size;
};

struct Fake_can_interface final : qv::can_bus::flr::Can_interface {
    std::uint32_t getBitrate() const override { return rate; }
    void setBitrate(std::uint32_t value) override { rate = value; }
    std::uint32_t rate = Session::usual_bit_rate;
};

std::string record(std::uint8_t type, std::uint32_t address, const std::vector<std::uint8_t>& data)
{
    std::vector<std::uint8_t> bytes{static_cast<std::uint8_t>(data.size()),
                                    static_cast<std::uint8_t>(address >> 8),
                                    static_cast<std::uint8_t>(address & 0xFF), type};
    bytes.insert(bytes.end(), data.begin(), data.end());
    unsigned sum = 0;
    std::for_each(bytes.begin(), bytes.end(), [&sum](std::uint8_t byte) { sum += byte; });
    bytes.push_back(static_cast<std::uint8_t>(0x100U - (sum & 0xFF)));
    std::string line = ":";
    for (const auto byte : bytes) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X", unsigned{byte});
        line += digits.data();
    }
    return line + "\n";
}

/// Version 1.2 in two dirty sectors: a block of 640 bytes, of which 256 lie in the first, and one of 5 bytes.
const fuzz::Input_file& image_file()
{
    static const std::string text = [] {
        auto lines = record(0x0C, 0, {'1', '.', '2'});
        lines += record(0x10, 0, {0, 0, 0x00, 0, 0, 0, 0x0F, 0xFF});
        lines += record(0x10, 1, {0, 0, 0x10, 0, 0, 0, 0x1F, 0xFF});
        lines += record(0x10, 2, {0, 0, 0x20, 0, 0, 0, 0x2F, 0xFF});
        for (std::uint32_t address = 0x1F00; address < 0x2180; address += 128) {
            lines += record(0x00, address, std::vector<std::uint8_t>(128, 0x5A));
        }
        return lines + record(0x00, 0x2800, {1, 2, 3, 4, 5});
    }();
    static const fuzz::Input_file file(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    return file;
}

/// A session has begun and has no result yet.
bool is_under_way(State state)
{
    return state != State::BL_IDLE && state != State::BL_TARGET_SEARCH && state != State::BL_FAILURE &&
           state != State::BL_COMPLETE_ACK;
}

/// The service on its bus, driven by hand.
class Whole_service {
public:
    explicit Whole_service(std::uint8_t options)
        : bus_(bus::Bus::create({}, nullptr,
                                [](bus::Bus& made) { return std::make_shared<bus::Frame_observer>(made); }))
    {
        create(options);
        for (int tick = 0; tick < 4; ++tick) {
            pass(300);
        }
        require(flintrow_->session.address_claimed);
        const auto files = flintrow_->catalogue.contents();
        const_cast<qv::can_bus::flr::HexParser&>(*files->hex_updates.at(0)).ecu_info = {{"IG", {"2"}}};
    }

    void step(Input& input)
    {
        const auto kind = input.next();
        const auto count = kind & 0x3FU;
        switch (kind >> 6) {
            case 0: use(count % 3); break;
            case 1: pass(count * 8); break;
            case 2: seconds(static_cast<int>(count)); break;
            default: receive(input, kind); break;
        }
        examine();
    }
    void seconds(int count)
    {
        for (; count > 0 && !ended_; --count) {
            qv::comm::primary_dispatcher()->post(std::make_unique<time_elapsed::Seconds_1>());
            pass(1000);
        }
    }
    /// A process that wanted to end would not be here.
    bool ended() const noexcept { return ended_; }
    bool at_rest() const { return !is_under_way(flintrow_->session.state); }

private:
    void create(std::uint8_t options)
    {
        std::vector<std::string> words{"flintrow", "-w", image_file().path()};
        for (const auto* word : {"-b500000", "-v", "-q"}) {
            if ((options & 1) != 0) {
                words.emplace_back(word);
            }
            options >>= 1;
        }
        std::vector<char*> arguments;
        for (auto& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        flintrow_ = Flintrow::create_in({static_cast<int>(words.size()),
                                         arguments.data(),
                                         {"1", "P", 26},
                                         [this](int) { ended_ = true; },
                                         [](auto...) { return std::make_unique<Fake_can_interface>(); },
                                         nullptr},
                                        bus_->dispatcher_id());
        require(flintrow_ != nullptr);
        drain();
    }
    void use(unsigned operation)
    {
        auto& session = flintrow_->session;
        if (operation == 0) {
            session.acknowledge_result();
        } else if (session.state == State::BL_IDLE && operation == 1) {
            flintrow_->inventory.refresh_ecu_strings();
            if (const auto entry = flintrow_->inventory.visible_ecu_at(0)) {
                session.start_update(*entry, entry->update_version);
            }
        } else if (session.state == State::BL_IDLE) {
            flintrow_->clear_ecu_list();
        }
    }
    void pass(std::uint32_t milliseconds)
    {
        qv::comm::primary_dispatcher()->post(std::make_unique<time_elapsed::Time_elapsed>(milliseconds));
        qv::comm::primary_dispatcher()->process_queue();
        drain();
    }
    void receive(Input& input, std::uint8_t kind)
    {
        const auto identifier = (kind & 0x10) != 0 ? picked_identifier(input) : whole_identifier(input);
        std::array<std::uint8_t, 8> bytes{};
        const auto length = std::min<std::size_t>(kind & 0x0F, bytes.size());
        std::generate_n(bytes.begin(), length, [&input] { return input.next(); });
        bus_->dispatcher()->post(
            std::make_unique<qv::can_bus::frame::message::Received>(std::span(bytes).first(length), identifier));
        drain();
    }
    static std::uint32_t whole_identifier(Input& input)
    {
        std::uint32_t identifier = 0;
        for (int byte = 0; byte < 4; ++byte) {
            identifier = identifier << 8 | input.next();
        }
        return identifier & 0x1FFFFFFF;
    }
    static std::uint32_t picked_identifier(Input& input)
    {
        const auto group = groups.at(input.next() % groups.size());
        const auto parties = input.next();
        const std::uint32_t destination = (parties & 1) != 0 ? 255 : own_address;
        const std::uint32_t source = (parties & 2) != 0 ? own_address : 0x80U + (parties >> 2 & 7U);
        return qv::can_bus::pdu::identifier(6, group, destination, source);
    }
    void drain()
    {
        bus_->dispatcher()->process_queue();
        for (const auto& ecu : bus_->ecus()) {
            ecu->dispatcher()->process_queue();
            bus_->dispatcher()->process_queue();
        }
    }

    void examine() const
    {
        const auto& session = flintrow_->session;
        const auto state = session.state.load();
        if (state == State::BL_ERASING || state == State::BL_PROGRAMMING) {
            require(session.progress_current <= session.progress_total);
        }
        if (is_under_way(state) && state != State::BL_START) { // there the choice may wait to be taken over
            require(session.hex_parser != nullptr && session.target_node() != nullptr);
        }
        examine(flintrow_->inventory);
        require(flintrow_->catalogue.contents()->hex_updates.size() == 1);
    }
    /// An entry for each address at most, each of a bounded size.
    static void examine(const Inventory& inventory)
    {
        constexpr std::size_t text_limit = 8192;
        for (std::uint32_t address = 0; address < 256; ++address) {
            const auto entry = inventory.find_ecu_by_address(address);
            if (entry == nullptr) {
                continue;
            }
            require(entry->node != nullptr && entry->matches->hex_matches.size() <= 1);
            require(entry->title.size() <= 13 && entry->long_title.size() <= text_limit + 8);
            for (const auto* text : {&entry->part_number, &entry->serial_number, &entry->location, &entry->type,
                                     &entry->manufacturer, &entry->host}) {
                require(text->size() <= text_limit);
            }
        }
        require(inventory.ecu_count() <= 254);
    }

    bool ended_ = false;
    std::unique_ptr<bus::Bus> bus_;
    std::unique_ptr<Flintrow> flintrow_;
};

/// The service is switched on. Of the document only what is in memory stays.
bool load_configuration()
{
    const auto path = "/dev/shm/fuzz_session_" + std::to_string(::getpid()) + ".xml";
    const bool loaded = qv::config::create_primary(path);
    for (const auto* suffix : {"", ".backup"}) {
        std::remove((path + suffix).c_str());
    }
    if (loaded) {
        auto* list = qv::config::primary_configuration_pointer();
        list->set_boolean(list->find_object("Flintrow", true), "enable", true);
    }
    return loaded;
}

bool start()
{
    fuzz::silence_output();
    stderr = std::fopen("/dev/null", "we"); // of the service alone: the fuzzer has the former pointer
    qv::thread::set_pause([](std::chrono::milliseconds) {});
    return stderr != nullptr && qv::comm::core_start(0) && load_configuration();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool started = start();
    require(started);
    Input input{data, size};
    Whole_service service(input.next());
    while (input.size > 0 && !service.ended()) {
        service.step(input);
    }
    service.seconds(silence);
    require(service.ended() || service.at_rest());
    return 0;
}
