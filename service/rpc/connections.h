#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include <thrift/concurrency/ThreadFactory.h>
#include <thrift/server/TThreadedServer.h>
#include <thrift/transport/TServerSocket.h>

namespace qv::can_bus::flr {

class Connection;

/// Listens on the loopback address. Its connections can be broken off whatever their threads wait for, and a
/// connection that cannot be accepted, as no descriptor is left, does not end it.
class Server_socket final : public apache::thrift::transport::TServerSocket {
public:
    explicit Server_socket(std::uint16_t port);

    /// Breaks off every connection, those that are just being made included. Any thread.
    void interruptChildren() override;

protected:
    std::shared_ptr<apache::thrift::transport::TTransport> acceptImpl() override;
    std::shared_ptr<apache::thrift::transport::TSocket> createSocket(int client) override;

private:
    std::mutex mutex_; ///< guards the rest
    std::vector<std::weak_ptr<Connection>> connections_;
    bool interrupted_ = false;
};

/// Makes the threads of the connections. One that the system does not give is missed before the library counts on
/// it: `newThread` throws `std::system_error`.
class Connection_thread_factory final : public apache::thrift::concurrency::ThreadFactory {
public:
    std::shared_ptr<apache::thrift::concurrency::Thread>
    newThread(std::shared_ptr<apache::thrift::concurrency::Runnable> runnable) const override;
};

/// A server that loses a connection, and no more, when there is no thread for it.
class Threaded_server final : public apache::thrift::server::TThreadedServer {
public:
    using TThreadedServer::TThreadedServer;

protected:
    void onClientConnected(const std::shared_ptr<apache::thrift::server::TConnectedClient>& client) override;
};

} // namespace qv::can_bus::flr
