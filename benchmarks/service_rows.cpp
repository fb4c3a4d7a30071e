#include <chrono>
#include <stdexcept>
#include <thread>

#include <poll.h>

#include "bench/harness/bench.h"
#include "bench/wire/client.h"
#include "benchmarks/child.h"
#include "benchmarks/report.h"
#include "benchmarks/traffic.h"

namespace benchmarks {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t own_claim = 0x18EEFFF9;
constexpr std::uint32_t foreign_address = 0x42;
constexpr auto claim_wait = 270ms; ///< from the claim to the address held
constexpr int frames_a_second = 1850;

double seconds(Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

/// A client of the router that speaks as one control function.
class Talker {
public:
    explicit Talker(std::uint16_t port)
        : client_("127.0.0.1", port)
    {
        while (!client_.connected()) {
            turn(10);
        }
    }

    void send(std::uint32_t identifier, std::array<std::uint8_t, 8> data)
    {
        bench::Record record{.identifier = identifier, .length = 8, .data = data};
        if (!client_.send(record)) {
            throw std::runtime_error("the router does not take frames");
        }
    }

    /// Reads what came, for at most so many milliseconds. True when the own claim of the service was in it.
    bool turn(int wait)
    {
        pollfd polled{client_.descriptor(), client_.events(), 0};
        ::poll(&polled, 1, wait);
        bool claimed = false;
        const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now().time_since_epoch());
        client_.on_poll(polled.revents, now, [&claimed](const bench::Record& record) {
            claimed = claimed || record.identifier == own_claim;
        });
        return claimed;
    }

    /// Sends at an even pace for so long.
    void talk(std::chrono::seconds duration)
    {
        const auto start = Clock::now();
        for (int count = 0; count < frames_a_second * duration.count(); ++count) {
            std::this_thread::sleep_until(start + count * 1000000us / frames_a_second);
            send(0x18FEF100U | foreign_address, {1, 2, 3, 4, 5, 6, 7, static_cast<std::uint8_t>(count)});
            turn(0);
        }
    }

private:
    bench::Client client_;
};

Row measure_start()
{
    harness::Bench bench;
    bench.start_router();
    Talker talker(bench.port());
    const auto start = Clock::now();
    const auto service = bench.start_service({"-q"});
    while (!talker.turn(100)) {
        if (Clock::now() - start > 10s) {
            throw std::runtime_error("the service claims no address: " + service->output());
        }
    }
    const double passed = seconds(Clock::now() - start + claim_wait) * 1000;
    return {"process start to the own address claimed", figure(passed, 0, "ms"), "600 ms (541 are waits)",
            passed / 600, 1};
}

std::vector<Row> measure_idle()
{
    harness::Bench bench;
    bench.start_router();
    const auto service = bench.start_service({"-q"});
    std::this_thread::sleep_for(3s);
    const double before = cpu_seconds(service->id());
    std::this_thread::sleep_for(20s);
    const double load = (cpu_seconds(service->id()) - before) / 20 * 100;
    const double memory = resident_mib(service->id());
    return {{"idle, address claimed: processor", figure(load, 2, "% of a core"), "2 %", load / 2, 1},
            {"the same: memory", figure(memory, 1, "MiB resident"), "16 MiB", memory / 16, 1}};
}

std::size_t count_of(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (auto place = text.find(part); place != text.npos; place = text.find(part, place + part.size())) {
        ++count;
    }
    return count;
}

/// Counts the frames that reach the stack while it prints each.
Row measure_loss()
{
    harness::Bench bench;
    bench.start_router();
    bench.write_configuration("", "<pdu trace_b=\"true\"/>");
    const auto service = bench.start_service({"-q"});
    Talker talker(bench.port());
    std::this_thread::sleep_for(1s);
    talker.send(0x18EEFF00U | foreign_address, {1, 0, 0, 0, 0, 0, 0, 0});
    std::this_thread::sleep_for(200ms);
    std::size_t seen = 0;
    std::jthread reader([&] { service->says("text that never comes", 14s); });
    talker.talk(10s);
    reader.join();
    seen = count_of(service->output(), "0fef1  42");
    const std::size_t sent = 10 * frames_a_second;
    return {"1850 frames/s for 10 s, each printed: frames lost",
            std::to_string(sent - seen) + " of " + std::to_string(sent), "none", sent == seen ? 0.0 : 2.0, 1};
}

std::vector<Row> measure_traffic()
{
    harness::Bench bench;
    bench.start_router();
    const auto service = bench.start_service({"-q"});
    Talker talker(bench.port());
    std::this_thread::sleep_for(2s);
    talker.send(0x18EEFF00U | foreign_address, {1, 0, 0, 0, 0, 0, 0, 0});
    talker.talk(2s);
    const double memory = resident_mib(service->id());
    const double before = cpu_seconds(service->id());
    talker.talk(60s);
    const double load = (cpu_seconds(service->id()) - before) / 60 * 100;
    const double growth = resident_mib(service->id()) - memory;
    return {{"1850 frames/s of foreign traffic for 60 s: processor", figure(load, 2, "% of a core"), "6 %",
             load / 6, 1},
            {"the same: growth of memory", figure(growth, 2, "MiB"), "0.25 MiB", growth / 0.25, 1}};
}

} // namespace

std::vector<Row> measure_service()
{
    std::vector<Row> rows{measure_start()};
    for (const auto& measure : {measure_idle, measure_traffic}) {
        const auto more = measure();
        rows.insert(rows.end(), more.begin(), more.end());
    }
    rows.push_back(measure_loss());
    return rows;
}

} // namespace benchmarks
