#pragma once

#include "bench/wire/link.h"

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// One TCP connection to the router. It never waits, but to resolve a host that is given by name.
class Client final : public Link {
public:
    Client(std::string host, std::uint16_t port)
        : host_(std::move(host))
        , port_(port)
    {}
    ~Client() override { close(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    [[nodiscard]] std::string name() const override { return "router"; }
    [[nodiscard]] int descriptor() const noexcept override { return socket_; }
    [[nodiscard]] short events() const noexcept override;
    [[nodiscard]] bool connected() const noexcept override { return state_ == State::connected; }
    [[nodiscard]] Time next_attempt() const noexcept override;
    /// A record that tells of more than 8 bytes is dropped, and the stream stays in step.
    Change on_poll(short revents, Time now, const Receive& receive) override;
    /// 4 MiB wait for a router that does not read.
    bool send(const Record& record) override;
    /// The router's bus has no rate that its clients could change.
    bool set_rate(std::uint32_t /*rate*/) override { return true; }

private:
    enum class State { waiting, connecting, connected };

    void attempt(Time now);
    void finish_attempt(Time now);
    bool read(const Receive& receive);
    bool flush();
    void close() noexcept;
    void retry_later(Time now) noexcept;

    std::string host_;
    std::uint16_t port_;
    State state_ = State::waiting;
    int socket_ = -1;
    Time retry_at_{0};
    std::vector<std::uint8_t> in_;  ///< the part of a record that has come so far
    std::vector<std::uint8_t> out_; ///< what the socket did not take yet
};

} // namespace bench
