// Measures a message of 1 MiB by the extended transport protocol between the network layer and the J1939 stack of
// the kernel on the CAN interface that it is given. Prints, first to the kernel and then from it, the seconds, and
// the CPU seconds of this process, with what the kernel did in its name.

#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>

#include "bench/harness/kernel_peer.h"
#include "can/bus/network_stack_test_kit.h"

namespace {

using namespace std::chrono_literals;
using harness::Kernel_peer;
using qv::can_bus::test::Network_stack;

constexpr std::size_t size = 1 << 20;
constexpr std::uint32_t pgn = 0xEF00;
constexpr std::uint8_t own_address = 0x80;

/// Prints what `transfer` takes; false when it fails.
template <class Transfer> bool measure(const Transfer& transfer)
{
    const auto start = std::chrono::steady_clock::now();
    const std::clock_t cpu = std::clock();
    const bool done = transfer();
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    std::printf("%.3f %.3f\n", passed.count(), static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC);
    return done;
}

bool run(const char* interface)
{
    harness::stay_on_one_cpu();
    const Kernel_peer peer(interface);
    const Network_stack stack(interface, {100, 64, 5});
    stack.claim(own_address);
    if (!stack.told<qv::can_bus::ecu::message::address::Claimed>(10s)) {
        return false;
    }
    stack.hear(pgn);
    const std::string text(size, 'x');
    const qv::Byte_array bytes({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    return measure([&] {
               stack.send(Kernel_peer::name, pgn, bytes);
               return peer.receive(pgn, size) == text;
           }) &&
           measure([&] {
               const bool sent = peer.send(own_address, pgn, text);
               const auto heard = stack.heard(pgn, 60s);
               return sent && heard && heard->data == bytes;
           });
}

} // namespace

int main(int argc, char** argv)
try {
    return argc == 2 && run(argv[1]) ? 0 : 1;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
