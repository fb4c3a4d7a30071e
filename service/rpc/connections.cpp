#include "service/rpc/connections.h"

#include <algorithm>
#include <cstdio>
#include <semaphore>
#include <system_error>
#include <thread>
#include <utility>

#include <sys/socket.h>
#include <thrift/transport/TSocket.h>

#include "framework/thread/pause.h"

namespace qv::can_bus::flr {

using namespace apache::thrift;
using namespace std::chrono_literals;

namespace {

constexpr const char* loopback = "127.0.0.1";
constexpr int send_timeout = 5000;         // ms; a client that reads nothing holds up its thread no longer
constexpr auto pause_before_next_try = 1s; // the reason why no connection can be accepted may pass

} // namespace

/// The socket of one caller. Its own thread uses and closes it; others may break it off.
class Connection final : public transport::TSocket {
public:
    using TSocket::TSocket;

    /// A caller that did not read in time is not waited for a second time, when the thread sends what is left.
    void write(const std::uint8_t* bytes, std::uint32_t count) override
    {
        try {
            TSocket::write(bytes, count);
        } catch (const transport::TTransportException&) {
            break_off();
            throw;
        }
    }
    void close() override
    {
        const std::lock_guard guard(mutex_);
        TSocket::close();
    }
    /// Ends what the thread waits for. Any thread.
    void break_off()
    {
        const std::lock_guard guard(mutex_);
        ::shutdown(getSocketFD(), SHUT_RDWR); // no socket any more, or a caller that has gone: nothing to end
    }

private:
    std::mutex mutex_; ///< guards the descriptor from being closed while it is used
};

Server_socket::Server_socket(std::uint16_t port)
    : TServerSocket(loopback, port)
{
    setSendTimeout(send_timeout);
    setInterruptableChildren(false); // which the library does by a poll before each read, and not for writes
}

void Server_socket::interruptChildren()
{
    const std::lock_guard guard(mutex_);
    interrupted_ = true;
    for (const auto& each : connections_) {
        if (const auto connection = each.lock()) {
            connection->break_off();
        }
    }
}

/// Ends by an exception when the server is stopped.
std::shared_ptr<transport::TTransport> Server_socket::acceptImpl()
{
    for (;;) {
        try {
            return TServerSocket::acceptImpl();
        } catch (const transport::TTransportException& failure) {
            if (failure.getType() == transport::TTransportException::INTERRUPTED) {
                throw;
            }
            std::printf("Error: %s\n", failure.what());
            thread::pause(pause_before_next_try);
        }
    }
}

std::shared_ptr<transport::TSocket> Server_socket::createSocket(int client)
{
    auto connection = std::make_shared<Connection>(client);
    const std::lock_guard guard(mutex_);
    std::erase_if(connections_, [](const auto& each) { return each.expired(); });
    connections_.push_back(connection);
    if (interrupted_) {
        connection->break_off();
    }
    return connection;
}

namespace {

/// A thread that waits for its start, and ends without one when nobody wants it any more.
class Gated_thread {
public:
    explicit Gated_thread(const std::shared_ptr<concurrency::Runnable>& runnable)
        : thread_([this, runnable] {
            begin_.acquire();
            if (wanted_) {
                runnable->run();
            }
        })
    {}
    ~Gated_thread() { join(); }
    Gated_thread(const Gated_thread&) = delete;
    Gated_thread& operator=(const Gated_thread&) = delete;

    void start()
    {
        wanted_ = true;
        begin_.release();
    }
    void join()
    {
        if (thread_.joinable()) {
            begin_.release(); // in case that it was never started
            thread_.join();
        }
    }

private:
    std::counting_semaphore<2> begin_{0};
    bool wanted_ = false; ///< written before `begin_` is released
    std::thread thread_;  ///< uses the others
};

/// A `Gated_thread` that the library's own part of a thread, which is told that nobody joins it, leaves alone.
class Connection_thread final : public concurrency::Thread {
public:
    explicit Connection_thread(const std::shared_ptr<concurrency::Runnable>& runnable)
        : Thread(true, runnable)
        , gated_thread_(runnable)
    {}
    void start() override { gated_thread_.start(); }
    void join() override { gated_thread_.join(); }

private:
    Gated_thread gated_thread_;
};

} // namespace

std::shared_ptr<concurrency::Thread>
Connection_thread_factory::newThread(std::shared_ptr<concurrency::Runnable> runnable) const
{
    auto result = std::make_shared<Connection_thread>(runnable);
    runnable->thread(result);
    return result;
}

void Threaded_server::onClientConnected(const std::shared_ptr<server::TConnectedClient>& client)
{
    try {
        TThreadedServer::onClientConnected(client);
    } catch (const std::system_error& failure) {
        std::printf("Error: %s\n", failure.what());
    }
}

} // namespace qv::can_bus::flr
