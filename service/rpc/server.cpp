#include "service/rpc/server.h"

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <utility>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>

namespace qv::can_bus::flr {

namespace {

using namespace apache::thrift;

/// The library takes its limit for one message as one for all that ever comes: it begins anew with each call.
class Caller_transport final : public transport::TBufferedTransport {
public:
    using TBufferedTransport::TBufferedTransport;
    std::uint32_t readEnd() override
    {
        resetConsumedMessageSize();
        return 0;
    }
};

class Caller_transport_factory final : public transport::TBufferedTransportFactory {
public:
    std::shared_ptr<transport::TTransport> getTransport(std::shared_ptr<transport::TTransport> socket) override
    {
        return std::make_shared<Caller_transport>(std::move(socket));
    }
};

std::shared_ptr<protocol::TProtocolFactory> make_protocol_factory()
{
    using Factory = protocol::TBinaryProtocolFactoryT<transport::TBufferedTransport>;
    const auto factory = std::make_shared<Factory>();
    factory->setStringSizeLimit(Rpc_server::text_limit);
    factory->setContainerSizeLimit(1); // no call has a list
    return factory;
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
        changed_.wait(guard, [this] { return phase_ != Phase::starting; });
    }
    void wait_until_ended()
    {
        std::unique_lock guard(mutex_);
        changed_.wait(guard, [this] { return phase_ == Phase::ended; });
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
};

Rpc_server::Rpc_server(Flintrow& flintrow, std::uint16_t port)
    : flintrow_(flintrow)
    , readiness_(std::make_shared<Readiness>())
    , server_(std::make_shared<::flintrow::FlintrowThriftProcessor>(handler_),
              std::make_shared<Server_socket>(port), std::make_shared<Caller_transport_factory>(),
              make_protocol_factory(), std::make_shared<Connection_thread_factory>())
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
        server_.serve();
    } catch (const TException& failure) {
        std::printf("Error: %s\n", failure.what());
        std::puts("Is the service already running?  Exiting...");
        flintrow_.end_process(-1);
    }
}

} // namespace qv::can_bus::flr
