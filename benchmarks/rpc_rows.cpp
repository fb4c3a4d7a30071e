#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <thread>

#include <FlintrowThrift.h>
#include <poll.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TServerSocket.h>
#include <thrift/transport/TSocket.h>

#include "bench/harness/bench.h"
#include "bench/wire/client.h"
#include "benchmarks/child.h"
#include "benchmarks/report.h"

namespace benchmarks {

namespace {

using namespace std::chrono_literals;
using namespace apache::thrift;
using flintrow::eStates;
using Clock = std::chrono::steady_clock;

constexpr int files = 1000;
constexpr unsigned ecus = 200;
constexpr std::size_t image_size = 256 << 10;
constexpr std::size_t package_size = 64 << 20;
constexpr int uploads = 10;

double milliseconds_since(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// A service and a connection to it. Its output is read all the time, so that it never waits for its reader.
class Served {
public:
    explicit Served(const harness::Bench& bench)
        : process_(bench.start_service({"-q"}))
    {
        const auto port = process_->listens();
        if (!port) {
            throw std::runtime_error("the service does not listen: " + process_->output());
        }
        const auto buffered = std::make_shared<transport::TBufferedTransport>(
            std::make_shared<transport::TSocket>("127.0.0.1", *port));
        buffered->open();
        api_ = std::make_unique<flintrow::FlintrowThriftClient>(
            std::make_shared<protocol::TBinaryProtocol>(buffered));
        reader_ = std::jthread([this](const std::stop_token& end) {
            while (!end.stop_requested()) {
                process_->output();
                std::this_thread::sleep_for(1ms);
            }
        });
    }

    flintrow::FlintrowThriftClient& api() { return *api_; }

    eStates::type state()
    {
        flintrow::stInfo info;
        api_->GetStatus(info);
        return info.state;
    }
    std::vector<flintrow::ecuInfo> list()
    {
        std::vector<flintrow::ecuInfo> result;
        api_->GetECUList(result);
        return result;
    }

    /// Starts an update to this version, once there is one.
    void update(const std::string& version)
    {
        for (int turn = 0; turn < 1000; ++turn, std::this_thread::sleep_for(20ms)) {
            const auto known = list();
            if (!known.empty() && known.front().sUpdateVersion == version &&
                api_->UpdateECUVersion(known.front().CANName, version) == 0) {
                return;
            }
        }
        throw std::runtime_error("the update does not start");
    }
    void await(eStates::type wanted)
    {
        for (int turn = 0; turn < 6000 && state() != wanted; ++turn) {
            std::this_thread::sleep_for(10ms);
        }
    }
    /// Scans the folder; milliseconds.
    double scan(const std::string& folder)
    {
        const auto start = Clock::now();
        api_->ScanDirectory(folder);
        return milliseconds_since(start);
    }

private:
    std::unique_ptr<harness::Process> process_;
    std::unique_ptr<flintrow::FlintrowThriftClient> api_;
    std::jthread reader_;
};

std::string make_folder(const harness::Bench& bench)
{
    std::filesystem::create_directory(bench.path("updates"));
    return bench.path("updates");
}

struct Pace {
    double rate;    ///< calls a second
    double slowest; ///< the 99th percentile, ms
};

/// Calls without a pause as long as it is told to go on.
Pace measure_calls(const std::function<bool()>& call)
{
    std::vector<double> times;
    const auto begin = Clock::now();
    for (auto start = begin; call(); start = Clock::now()) {
        times.push_back(milliseconds_since(start));
    }
    const double rate = static_cast<double>(times.size()) / milliseconds_since(begin) * 1000;
    if (times.size() < 1000) {
        throw std::runtime_error("too few calls to tell their pace");
    }
    const auto last = times.begin() + static_cast<std::ptrdiff_t>(times.size() * 99 / 100);
    std::nth_element(times.begin(), last, times.end());
    return {rate, *last};
}

/// A second of the least that any server can do: a thread that sends a socket's bytes back.
Pace measure_echo()
{
    std::array<std::uint8_t, 64> bytes{}; // about a call and its answer
    constexpr auto size = static_cast<std::uint32_t>(bytes.size());
    transport::TServerSocket listener("127.0.0.1", 0);
    listener.setInterruptableChildren(false);
    listener.listen();
    const std::jthread answering([&listener] {
        std::array<std::uint8_t, size> echo{};
        const auto caller = listener.accept();
        while (const auto count = caller->read(echo.data(), size)) {
            caller->write(echo.data(), count);
        }
    });
    transport::TSocket socket("127.0.0.1", listener.getPort());
    socket.open();
    const auto end = Clock::now() + 1s;
    const auto result = measure_calls([&] {
        socket.write(bytes.data(), size);
        return socket.read(bytes.data(), size) != 0 && Clock::now() < end;
    });
    socket.close();
    return result;
}

/// Asks without a pause while the ECU is written to.
std::vector<Row> measure_status()
{
    harness::Bench bench;
    bench.start_router();
    const auto folder = make_folder(bench);
    std::filesystem::rename(bench.make_update(image_size), folder + "/update.hex");
    const auto ecu = bench.start_ecu({"--sectors", "128"});
    Served service(bench);
    service.scan(folder);
    service.update("2.0.0");
    service.await(eStates::BL_PROGRAMMING);
    const auto echo = measure_echo();
    const auto status = measure_calls([&service] { return service.state() == eStates::BL_PROGRAMMING; });
    service.await(eStates::BL_COMPLETE_ACK);
    if (bench.flash().substr(0, image_size) != bench.program()) {
        throw std::runtime_error("programming failed");
    }
    return {{"GetStatus on one connection while an ECU is programmed", figure(status.rate, 0, "calls/s"),
             "half of a bare socket's " + figure(echo.rate, 0, "echoes/s"), echo.rate / status.rate, 2},
            {"the same: 99th percentile", figure(status.slowest, 3, "ms"),
             "3 times the echo's " + figure(echo.slowest, 3, "ms"), status.slowest / echo.slowest, 3}};
}

/// A client of the router that speaks for many ECUs.
class Talker {
public:
    explicit Talker(std::uint16_t port)
        : client_("127.0.0.1", port)
    {
        while (!client_.connected()) {
            turn();
        }
    }

    void send(std::uint32_t identifier, std::initializer_list<unsigned> bytes)
    {
        bench::Record record{.identifier = identifier, .length = static_cast<std::uint8_t>(bytes.size())};
        std::transform(bytes.begin(), bytes.end(), record.data.begin(),
                       [](unsigned byte) { return static_cast<std::uint8_t>(byte); });
        (void)client_.send(record);
        turn();
    }

private:
    void turn()
    {
        pollfd polled{client_.descriptor(), client_.events(), 0};
        ::poll(&polled, 1, 2);
        const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now().time_since_epoch());
        client_.on_poll(polled.revents, now, [](const bench::Record&) {});
    }

    bench::Client client_;
};

/// Puts ECUs of 200 makers on the bus, which claim their addresses [ISO 11783-5] and tell of their bootloaders
/// [ISO 11783-12].
void add_ecus(std::uint16_t port)
{
    Talker talker(port);
    for (unsigned maker = 1; maker <= ecus; ++maker) {
        talker.send(0x18EEFF00U | maker, {maker, 0, maker << 5 & 0xFF, maker >> 3 & 0xFF, 0, 0, 0, 0xA0});
    }
    std::this_thread::sleep_for(500ms);
    for (unsigned maker = 1; maker <= ecus; ++maker) {
        talker.send(0x18FEDA00U | maker, {1, 'B', 'L', 'D', ',', ',', '*'});
    }
    std::this_thread::sleep_for(500ms);
}

/// 1,000 files, five of which fit each ECU.
std::vector<Row> measure_list()
{
    harness::Bench bench;
    bench.start_router();
    const auto folder = make_folder(bench);
    harness::write_file(bench.path("program.bin"), std::string(64, 'p'));
    for (int file = 0; file < files; ++file) {
        const auto number = static_cast<unsigned>(file);
        run({FLINTROW_BIN_DIR "/make_update", "--output", folder + "/" + std::to_string(file) + ".hex",
             "--version", std::to_string(file / static_cast<int>(ecus)) + ".0", "--ecu-info",
             "MN," + std::to_string(number % ecus + 1) + "*", "--sectors", "0x10000:4096:1",
             bench.path("program.bin")});
    }
    Served service(bench);
    std::this_thread::sleep_for(1s); // until it is on the bus
    add_ecus(bench.port());
    service.scan(folder);
    const auto start = Clock::now();
    const auto first = service.list();
    const double first_time = milliseconds_since(start);
    if (first.size() < ecus || first.front().stUpdateVersions.size() != files / ecus) {
        throw std::runtime_error("not all ECUs are in the list: " + std::to_string(first.size()));
    }
    const auto next = Clock::now();
    constexpr int repeats = 50;
    for (int repeat = 0; repeat < repeats; ++repeat) {
        service.list();
    }
    const double time = milliseconds_since(next) / repeats;
    return {{"GetECUList, 200 ECUs and 1,000 files, after a scan", figure(first_time, 1, "ms"), "30 ms",
             first_time / 30, 1},
            {"the same again", figure(time, 2, "ms"), "3 ms", time / 3, 1}};
}

/// The files are in the memory of the kernel, so that `cat` tells what reading alone takes.
std::vector<Row> measure_scan()
{
    harness::Bench bench;
    bench.start_router();
    const auto folder = make_folder(bench);
    const auto update = bench.make_update(image_size);
    std::vector<std::string> words{"cat"};
    for (int file = 0; file < files; ++file) {
        words.push_back(folder + "/" + std::to_string(file) + ".hex");
        std::filesystem::copy_file(update, words.back());
    }
    const double reading = run(words).seconds * 1000;
    Served service(bench);
    const double first = service.scan(folder);
    const double second = service.scan(folder);
    return {{"scan of 1,000 images of 256 KiB", figure(first, 0, "ms"),
             "8 times cat's " + figure(reading, 0, "ms"), first / reading, 8},
            {"the second scan", figure(second, 1, "ms"), "15 ms", second / 15, 1}};
}

/// How long the node's last upload took, by its own clock, in seconds.
double upload_time(harness::Process& node)
{
    double begin = 0;
    const auto time_before = [&node](const std::string& words) {
        const auto& text = node.output();
        const auto place = text.rfind(words);
        return std::stod(text.substr(text.rfind('\n', place) + 1));
    };
    if (!node.says("POST /upload") || !node.says("package received", 60s)) {
        throw std::runtime_error("no upload: " + node.output());
    }
    begin = time_before("POST /upload");
    return time_before("package received") - begin;
}

Row measure_upload()
{
    harness::Bench bench;
    bench.start_router();
    const auto folder = make_folder(bench);
    const auto package = folder + "/update.zip";
    std::filesystem::rename(bench.make_package(package_size), package);
    const auto node = bench.start_node({"--install", "500", "--package-out", "/dev/null"});
    const auto url = "http://127.0.0.1:" + std::to_string(node->listens().value()) + "/upload";
    Served service(bench);
    service.scan(folder);
    double ours = HUGE_VAL;
    double other = HUGE_VAL;
    for (int upload = 0; upload < uploads; ++upload) {
        run({"curl", "-s", "-S", "-f", "-u", "flr:Vx7Qm2LpR9tKd", "-F", "sendfile=@" + package, url});
        other = std::min(other, upload_time(*node));
        service.update("3.0.0");
        ours = std::min(ours, upload_time(*node));
        service.await(eStates::BL_FAILURE); // the node takes packages and installs none
        service.api().UpdateComplete();
    }
    return {"upload of 64 MiB to a wireless node", figure(ours * 1000, 0, "ms"),
            "curl -F's " + figure(other * 1000, 0, "ms") + " and 10 %", ours / other, 1.1};
}

} // namespace

std::vector<Row> measure_control_interface()
{
    std::vector<Row> rows;
    for (const auto& measure : {measure_status, measure_list, measure_scan}) {
        const auto more = measure();
        rows.insert(rows.end(), more.begin(), more.end());
    }
    rows.push_back(measure_upload());
    return rows;
}

} // namespace benchmarks
