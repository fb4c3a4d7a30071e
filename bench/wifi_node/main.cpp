// wifi_node: a wireless node in one process, with an HTTP server and a place on the bus of a router.

#include "bench/command_line/stop_signals.h"
#include "bench/wifi_node/gateway.h"
#include "bench/wifi_node/http_server.h"
#include "bench/wifi_node/installer.h"
#include "bench/wifi_node/options.h"
#include "bench/wire/client.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <memory>
#include <poll.h>
#include <unistd.h>

namespace bench::wifi {
namespace {

class Node final : Gateway::Outside {
public:
    explicit Node(const Options& options)
        : options_(options)
        , client_(options.host, options.port)
        , gateway_(*this, options.gateway)
        , installer_(options.installer, [this](const std::string& text) { report(text); })
        , http_(options.http, installer_, [this](const std::string& text) { report(text); })
    {}

    /// Until one of the signals is there. The exit status.
    int run(int signals);

private:
    void send(const Record& record) override { (void)client_.send(record); }
    void report(const std::string& text) override;

    [[nodiscard]] Time now() const;
    [[nodiscard]] int wait_time() const;
    void turn(short revents);
    void on_change(Client::Change change);
    [[nodiscard]] bool listen();
    void go_down();
    [[nodiscard]] bool come_back();
    [[nodiscard]] bool away() const noexcept { return http_.descriptor() < 0; }

    Options options_;
    Client client_;
    Gateway gateway_;
    Installer installer_;
    Http_server http_;
    simulated::Timer reboot_; ///< runs while the node is away for its restart
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

Time Node::now() const { return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now() - start_); }

void Node::report(const std::string& text)
{
    const auto elapsed = now().count();
    std::printf("%s%s%lld.%03lld %s\n", options_.label.c_str(), options_.label.empty() ? "" : " ",
                static_cast<long long>(elapsed / 1000), static_cast<long long>(elapsed % 1000), text.c_str());
    std::fflush(stdout);
}

/// For poll, rounded up, so that the time has come when it returns.
int Node::wait_time() const
{
    const Time attempt = options_.bus ? client_.next_attempt() : simulated::never;
    const Time due = std::min({gateway_.next(), http_.next(now()), reboot_.due(), attempt});
    return due == simulated::never ? -1
                                   : static_cast<int>(std::clamp<Time::rep>((due - now()).count(), 0, INT_MAX));
}

void Node::turn(short revents)
{
    if (options_.bus) {
        on_change(
            client_.on_poll(revents, now(), [this](const Record& record) { gateway_.on_frame(record, now()); }));
    }
    if (now() >= gateway_.next()) {
        gateway_.on_time(now());
    }
    http_.run(now());
    if (http_.told_the_end() && !away()) {
        go_down();
    }
}

void Node::on_change(Client::Change change)
{
    switch (change) {
        case Client::Change::none: return;
        case Client::Change::established:
            report("router connected");
            if (!away()) {
                gateway_.start(now());
            }
            return;
        case Client::Change::terminated: return report("router lost");
    }
}

bool Node::listen()
{
    if (!http_.start()) {
        std::fprintf(stderr, "wifi_node: cannot listen on 127.0.0.1:%u\n", http_.port());
        return false;
    }
    report("listening on 127.0.0.1:" + std::to_string(http_.port()));
    return true;
}

void Node::go_down()
{
    report(options_.no_return ? "off bus and network, does not return" : "restarts");
    http_.stop();
    gateway_.stop();
    if (!options_.no_return) {
        reboot_.start(now(), options_.reboot_time);
    }
}

/// With the version that was installed, when that went well.
bool Node::come_back()
{
    reboot_.stop();
    if (installer_.succeeded()) {
        report("restarted, version " + installer_.version());
        gateway_.set_version(installer_.version());
    }
    installer_.restart();
    if (client_.connected()) {
        gateway_.start(now());
    }
    return listen();
}

int Node::run(int signals)
{
    if (!listen()) {
        return 1;
    }
    for (;;) {
        pollfd polled[] = {{options_.bus ? client_.descriptor() : -1, client_.events(), 0},
                           {signals, POLLIN, 0},
                           {http_.descriptor(), POLLIN, 0}};
        if (poll(polled, 3, wait_time()) < 0 && errno != EINTR) {
            std::perror("wifi_node: poll");
            return 1;
        }
        if (polled[1].revents != 0) {
            http_.stop();
            report("stopped");
            return 0;
        }
        turn(polled[0].revents);
        if (reboot_.ended(now()) && !come_back()) {
            return 1;
        }
    }
}

int run(std::span<const char* const> arguments)
{
    Options options;
    if (const std::string wrong = parse_options(arguments, options); !wrong.empty()) {
        std::fprintf(stderr, "wifi_node: %s (--help tells the options)\n", wrong.c_str());
        return 2;
    }
    if (options.help) {
        std::fputs(help_text().c_str(), stdout);
        return 0;
    }
    (void)std::signal(SIGPIPE, SIG_IGN); // a client that goes away ends nothing but its connection
    const int signals = stop_signals();
    if (signals < 0) {
        std::perror("wifi_node: signals");
        return 1;
    }
    const auto node = std::make_unique<Node>(options);
    const int status = node->run(signals);
    close(signals);
    return status;
}

} // namespace
} // namespace bench::wifi

int main(int count, char** arguments)
{
    return bench::wifi::run(std::span<const char* const>(arguments + 1, static_cast<std::size_t>(count - 1)));
}
