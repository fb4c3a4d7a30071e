#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "bench/can_router/arbiter.h"
#include "bench/can_router/connection.h"
#include "bench/can_router/frame_log.h"

namespace bench {

/// Passes every record of a client on to all others. Clients come and go; one that does not read loses its own
/// connection and holds up nobody. With a bit rate the frames share a bus of that speed.
class Router {
public:
    /// Frames that one client may have waiting for the bus before it is no longer read.
    static constexpr std::size_t waiting_limit = 256;

    Router(std::uint32_t bitrate, Frame_log& log);
    ~Router();
    Router(const Router&) = delete;
    Router& operator=(const Router&) = delete;

    /// False, with errno telling why, when the port cannot be had.
    [[nodiscard]] bool listen(std::uint16_t port);
    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    /// Serves until `stop_descriptor` becomes readable.
    void run(int stop_descriptor);

private:
    void accept_client();
    void serve(Connection& connection, short events);
    void on_record(int sender, const Record& record);
    void deliver(int sender, const Record& record);
    void deliver_due();
    void drop_lost();
    bool wants_read(int descriptor) const;

    int listener_ = -1;
    std::uint16_t port_ = 0;
    Frame_log& log_;
    std::optional<Arbiter> arbiter_;
    std::map<int, std::unique_ptr<Connection>> clients_; ///< by descriptor
};

} // namespace bench
