// Measures the road of one frame from `Received` to an observer of its parameter group: time and allocations.
// Prints nanoseconds, allocations, and how many of these are copies of subscriber lists. Then the nanoseconds from
// a whole position message to an observer of its fields.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "can/bus/frame_observer.h"
#include "can/hardware/frame_message.h"
#include "can/network/bus.h"
#include "can/network/nmea_2000/message.h"
#include "comm/broker.h"
#include "comm/master.h"

namespace {

std::size_t allocations = 0;

constexpr std::uint32_t wanted_pgn = 0xFEF1;

/// Counts the messages of one id.
class Counter final : public qv::comm::observer::Observer_dispatcher_id {
public:
    Counter(qv::comm::Dispatcher_id dispatcher_id, qv::comm::message::Id wanted)
        : Observer_dispatcher_id(dispatcher_id)
        , wanted_(wanted)
    {}
    void subscribe() override { add(wanted_, &Counter::on_message); }
    void unsubscribe() override { remove(wanted_); }
    std::size_t count = 0;

private:
    void on_message(qv::comm::message::Message& /*message*/) { ++count; }

    qv::comm::message::Id wanted_;
};

std::shared_ptr<qv::comm::observer::Observer> frame_entry(qv::can_bus::bus::Bus& bus)
{
    return std::make_shared<qv::can_bus::bus::Frame_observer>(bus);
}

int measure(qv::can_bus::bus::Bus& bus)
{
    const auto counter = std::make_shared<Counter>(bus.pdu_dispatcher_id(), wanted_pgn);
    qv::comm::observer::Observer_list observers;
    observers.add(counter);
    const std::array<std::uint8_t, 8> name{1};
    qv::can_bus::frame::message::Received claim(name, 0x18EEFF42);
    bus.dispatcher()->notify(claim);
    bus.dispatcher()->process_queue();

    constexpr std::size_t rounds = 500000;
    const std::array<std::uint8_t, 8> bytes{1, 2, 3, 4, 5, 6, 7, 8};
    qv::can_bus::frame::message::Received frame(bytes, 0x18FEF142);
    std::size_t allocated = 0;
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t round = 0; round < rounds; ++round) {
        if (round == rounds / 2) {
            allocated = allocations;
        }
        bus.dispatcher()->notify(frame);
        bus.dispatcher()->process_queue();
    }
    const std::chrono::duration<double, std::nano> passed = std::chrono::steady_clock::now() - start;
    allocated = allocations - allocated;
    observers.clear();
    // One list of subscribers is copied for the frame, one for the envelope, one for the PDU.
    std::printf("%.0f %.3f 3\n", passed.count() / rounds, static_cast<double>(allocated) / (rounds / 2.0));
    return counter->count == rounds ? 0 : 1;
}

int measure_position(qv::can_bus::bus::Bus& bus)
{
    using qv::can_bus::nmea_2000::message::Position_data;
    constexpr std::size_t rounds = 200000;
    const auto counter = std::make_shared<Counter>(bus.dispatcher()->id(), Position_data::id);
    qv::comm::observer::Observer_list observers;
    observers.add(counter);
    std::array<std::uint8_t, 51> bytes{};
    bytes[42] = 2; // reference stations
    qv::can_bus::pdu::PDU pdu(0x0DF80542, qv::Byte_array(bytes));
    pdu.source_node = bus.nodes().find_by_address(0x42);
    const auto groups = qv::comm::find_dispatcher(bus.pdu_dispatcher_id());
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t round = 0; round < rounds; ++round) {
        groups->notify(pdu);
        bus.dispatcher()->process_queue();
    }
    const std::chrono::duration<double, std::nano> passed = std::chrono::steady_clock::now() - start;
    observers.clear();
    std::printf("%.0f\n", passed.count() / rounds);
    return counter->count == rounds ? 0 : 1;
}

} // namespace

// Counts what the code under measurement takes from the heap.
void* operator new(std::size_t size)
{
    ++allocations;
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

int main()
{
    if (!qv::comm::core_start(0)) {
        return 1;
    }
    int status = 1;
    if (const auto bus = qv::can_bus::bus::Bus::create({}, nullptr, &frame_entry)) {
        status = measure(*bus) + measure_position(*bus);
    }
    qv::comm::master_stop();
    return status;
}
