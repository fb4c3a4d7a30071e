#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ctl/ecu.h"
#include "ctl/state.h"

namespace flintrow {
class FlintrowThriftClient;
}
namespace apache::thrift::transport {
class TSocket;
}

namespace ctl {

/// Where the service answers, and how long to wait for it.
struct Peer {
    std::string host;
    std::uint16_t port = 0;
    std::chrono::milliseconds timeout{};      ///< for the connection, and for each answer
    std::chrono::milliseconds file_timeout{}; ///< for an answer that the service reads update files for
};

/// What the service says to an order.
enum class Answer : std::int32_t {
    done = 0,     ///< or started
    busy = -1,    ///< a session is running
    nothing = -2, ///< no update for the ECU, or it could not start
    unknown = -3, ///< no such ECU
};

/// One connection to the service. Whatever goes wrong with it is thrown as an `Error`: `Exit::unreachable` by the
/// constructor; by the calls `timeout`, `lost`, or `failed` when the answer makes no sense.
///
/// Thread: one. What it returns is as the service told it, so not `printable`.
class Client {
public:
    explicit Client(const Peer& peer);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    Status status();
    std::vector<Ecu> ecus();
    Identification identification(std::uint64_t name);
    std::vector<Software> software(std::uint64_t name);
    std::vector<std::string> directories();

    /// Starts a session with the preferred image. The service passes packages for wireless nodes over.
    Answer update(std::uint64_t name);
    /// Starts a session with the image or package of this version.
    Answer update(std::uint64_t name, const std::string& version);
    Answer acknowledge();
    Answer scan(const std::string& directory);
    Answer clear();
    /// `done` once the connection has ended: the service gives no reply.
    Answer shutdown();

private:
    template <class Call> auto ask(Call call);
    template <class Call> Answer order(Call call);
    template <class Call> Answer order_with_files(Call call);
    void set_wait(std::chrono::milliseconds wait);

    Peer peer_;
    std::string place_; ///< for messages
    std::chrono::milliseconds wait_{};
    std::shared_ptr<apache::thrift::transport::TSocket> socket_;
    std::unique_ptr<flintrow::FlintrowThriftClient> client_;
};

} // namespace ctl
