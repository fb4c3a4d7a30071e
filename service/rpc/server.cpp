#include "service/rpc/server.h"

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <system_error>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TServerSocket.h>

#include "framework/thread/pause.h"

namespace qv::can_bus::flr {

namespace {

using namespace apache::thrift;
using namespace std::chrono_literals;

constexpr const char* loopback = "127.0.0.1";
constexpr int send_timeout = 5000;         // ms; a client that reads nothing holds up its thread no longer
constexpr auto pause_before_next_try = 1s; // the reason, no descriptor free perhaps, may pass

std::shared_ptr<protocol::TProtocolFactory> make_protocol_factory()
{
    using Factory = protocol::TBinaryProtocolFactoryT<transport::TBufferedTransport>;
    const auto factory = std::make_shared<Factory>();
    factory->setStringSizeLimit(Rpc_server::text_limit);
    factory->setContainerSizeLimit(1); // no call has a list
    return factory;
}

std::shared_ptr<transport::TServerSocket> make_socket(std::uint16_t port)
{
    auto result = std::make_shared<transport::TServerSocket>(loopback, port);
    result->setSendTimeout(send_timeout);
    return result;
}

} // namespace

/// Tells when the server listens, before which it cannot be stopped, and when its thread needs it no more.
class Rpc_server::Readiness final : public server::TServerEventHandler {
public:
    void preServe() override { set(Phase::listening); }
    void end() { set(Phase::ended); }
    void wait_until_listening()
    {
        std::unique_lock guard(mutex_);
        stop_wanted_ = true;
        changed_.wait(guard, [this] { return phase_ != Phase::starting; });
    }
    void wait_until_ended()
    {
        std::unique_lock guard(mutex_);
        changed_.wait(guard, [this] { return phase_ == Phase::ended; });
    }
    /// The server has stopped listening. Whether it is to begin again.
    bool may_begin_again()
    {
        const std::lock_guard guard(mutex_);
        phase_ = Phase::starting;
        return !stop_wanted_;
    }

private:
    enum class Phase { starting, listening, ended };

    void set(Phase phase)
    {
        const std::lock_guard guard(mutex_);
        phase_ = phase;
        changed_.notify_all();
    }

    std::mutex mutex_; ///< guards the rest
    std::condition_variable changed_;
    Phase phase_ = Phase::starting;
    bool stop_wanted_ = false;
};

Rpc_server::Rpc_server(Flintrow& flintrow, std::uint16_t port)
    : flintrow_(flintrow)
    , readiness_(std::make_shared<Readiness>())
    , server_(std::make_shared<::flintrow::FlintrowThriftProcessor>(handler_), make_socket(port),
              std::make_shared<transport::TBufferedTransportFactory>(), make_protocol_factory())
{
    handler_->attach(flintrow);
    server_.setServerEventHandler(readiness_);
    server_.setConcurrentClientLimit(connection_limit);
    if (!thread::argument::start<Rpc_server*>(thread_, &IPCHandler, this, thread::Ending::join)) {
        std::printf("Error - pthread_create() return code: %d\n", thread_->error());
        flintrow.end_process(1);
        readiness_->end();
    }
}

/// Whoever keeps all threads may join this one first, so that the join alone does not tell its end.
Rpc_server::~Rpc_server()
{
    readiness_->wait_until_listening();
    server_.stop();
    handler_->detach();
    readiness_->wait_until_ended();
    thread_->join();
}

void Rpc_server::IPCHandler(Rpc_server* server)
{
    const auto readiness = server->readiness_;
    server->serve();
    readiness->end(); // from here on there may be no server
}

void Rpc_server::serve()
{
    std::puts("Starting IPC server...");
    try {
        serve_once();
    } catch (const TException& failure) {
        std::printf("Error: %s\n", failure.what());
        std::puts("Is the service already running?  Exiting...");
        return flintrow_.end_process(-1);
    }
    while (readiness_->may_begin_again()) {
        std::puts("IPC server ended, starting it again...");
        thread::pause(pause_before_next_try);
        try {
            serve_once();
        } catch (const TException& failure) {
            std::printf("Error: %s\n", failure.what()); // a session may be running, which goes on
        }
    }
}

/// Ends when a connection cannot be accepted, too; one that gets no thread ends it by a `std::system_error`.
void Rpc_server::serve_once()
{
    try {
        server_.serve();
    } catch (const std::system_error& failure) {
        std::printf("Error: %s\n", failure.what());
    }
}

} // namespace qv::can_bus::flr
