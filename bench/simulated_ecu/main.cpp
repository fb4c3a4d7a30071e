// simulated_ecu: one ECU in one process, on the bus of a router or of a CAN interface.

#include "bench/command_line/stop_signals.h"
#include "bench/simulated_ecu/options.h"
#include "bench/wire/can_socket.h"
#include "bench/wire/client.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <poll.h>
#include <unistd.h>

namespace bench::simulated {
namespace {

std::unique_ptr<Link> link_of(const Options& options)
{
    if (!options.interface.empty()) {
        return std::make_unique<Can_socket>(options.interface);
    }
    return std::make_unique<Client>(options.host, options.port);
}

class Process final : Ecu::Outside {
public:
    explicit Process(const Options& options)
        : options_(options)
        , link_(link_of(options))
        , ecu_(*this, options.ecu)
    {}

    int run(int signals);

private:
    void send(const Record& record) override { (void)link_->send(record); }
    void report(const std::string& text) override;
    void save(const Flash& flash) override;
    bool set_rate(std::uint32_t rate) override { return link_->set_rate(rate); }

    [[nodiscard]] Time now() const;
    [[nodiscard]] int wait_time() const;
    void turn(short revents);
    void on_change(Link::Change change);

    Options options_;
    std::unique_ptr<Link> link_;
    Ecu ecu_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

Time Process::now() const { return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now() - start_); }

void Process::report(const std::string& text)
{
    const auto elapsed = now().count();
    std::printf("%s%s%lld.%03lld %s\n", options_.label.c_str(), options_.label.empty() ? "" : " ",
                static_cast<long long>(elapsed / 1000), static_cast<long long>(elapsed % 1000), text.c_str());
    std::fflush(stdout);
}

void Process::save(const Flash& flash)
{
    if (options_.flash_file.empty()) {
        return;
    }
    const auto content = flash.content();
    if (!flash.save(options_.flash_file)) {
        return report("cannot write " + options_.flash_file + ": " + std::strerror(errno));
    }
    report("flash saved, " + std::to_string(content ? content->bytes.size() : 0) + " bytes");
}

/// For poll, rounded up, so that the time has come when it returns.
int Process::wait_time() const
{
    const Time due = std::min(ecu_.next(), link_->next_attempt());
    return due == never ? -1 : static_cast<int>(std::clamp<Time::rep>((due - now()).count(), 0, INT_MAX));
}

void Process::turn(short revents)
{
    on_change(link_->on_poll(revents, now(), [this](const Record& record) { ecu_.on_frame(record, now()); }));
    if (now() >= ecu_.next()) {
        ecu_.on_time(now());
    }
}

void Process::on_change(Link::Change change)
{
    switch (change) {
        case Link::Change::none: return;
        case Link::Change::established: report(link_->name() + " connected"); return ecu_.start(now());
        case Link::Change::terminated: return report(link_->name() + " lost");
    }
}

/// Until one of the signals is there.
int Process::run(int signals)
{
    char name[17];
    std::snprintf(name, sizeof name, "%016llX", static_cast<unsigned long long>(options_.ecu.name));
    report(std::string("NAME ") + name + ", version " + options_.ecu.identification.version);
    for (;;) {
        pollfd polled[] = {{link_->descriptor(), link_->events(), 0}, {signals, POLLIN, 0}};
        if (poll(polled, 2, wait_time()) < 0 && errno != EINTR) {
            std::perror("simulated_ecu: poll");
            return 1;
        }
        if (polled[1].revents != 0) {
            save(ecu_.flash());
            report("stopped");
            return 0;
        }
        turn(polled[0].revents);
    }
}

int run(std::span<const char* const> arguments)
{
    Options options;
    if (const std::string wrong = parse_options(arguments, options); !wrong.empty()) {
        std::fprintf(stderr, "simulated_ecu: %s (--help tells the options)\n", wrong.c_str());
        return 2;
    }
    if (options.help) {
        std::fputs(help_text().c_str(), stdout);
        return 0;
    }
    const int signals = stop_signals();
    if (signals < 0) {
        std::perror("simulated_ecu: signals");
        return 1;
    }
    const auto process = std::make_unique<Process>(options);
    const int status = process->run(signals);
    close(signals);
    return status;
}

} // namespace
} // namespace bench::simulated

int main(int count, char** arguments)
{
    return bench::simulated::run(std::span<const char* const>(arguments + 1, static_cast<std::size_t>(count - 1)));
}
