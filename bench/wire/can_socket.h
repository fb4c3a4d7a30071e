#pragma once

#include "bench/wire/link.h"

#include <deque>
#include <poll.h>
#include <string>

namespace bench {

/// A CAN interface of this machine; the bus is there while the interface is up. What its transmit queue does not
/// take waits here and goes out millisecond by millisecond.
class Can_socket final : public Link {
public:
    explicit Can_socket(std::string interface)
        : interface_(std::move(interface))
    {}
    ~Can_socket() override { close(); }
    Can_socket(const Can_socket&) = delete;
    Can_socket& operator=(const Can_socket&) = delete;

    [[nodiscard]] std::string name() const override { return interface_; }
    [[nodiscard]] int descriptor() const noexcept override { return socket_; }
    [[nodiscard]] short events() const noexcept override { return POLLIN; }
    [[nodiscard]] bool connected() const noexcept override { return socket_ >= 0; }
    [[nodiscard]] Time next_attempt() const noexcept override;
    /// Frames of more than 8 bytes do not exist here, nor frames that report errors.
    Change on_poll(short revents, Time now, const Receive& receive) override;
    bool send(const Record& record) override;
    /// Takes the interface down, and up again with the rate, by the program `ip`; that needs root, and takes some
    /// hundredths of a second, for which it waits. The bus counts as there all the time.
    bool set_rate(std::uint32_t rate) override;

private:
    bool open(Time now);
    bool read(const Receive& receive);
    bool flush();
    void close() noexcept;
    void retry_later(Time now) noexcept;

    std::string interface_;
    int socket_ = -1;
    Time next_{0};           ///< of an attempt to open the interface, or to send what waits
    std::deque<Record> out_; ///< what the queue of the interface did not take yet
};

} // namespace bench
