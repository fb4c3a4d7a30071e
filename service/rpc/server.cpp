#include "service/rpc/server.h"

#include <condition_variable>
#include <cstdio>
#include <mutex>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TServerSocket.h>

namespace qv::can_bus::flr {

namespace {

using namespace apache::thrift;

constexpr const char* loopback = "127.0.0.1";

std::shared_ptr<protocol::TProtocolFactory> make_protocol_factory()
{
    using Factory = protocol::TBinaryProtocolFactoryT<transport::TBufferedTransport>;
    const auto factory = std::make_shared<Factory>();
    factory->setStringSizeLimit(Rpc_server::text_limit);
    return factory;
}

} // namespace

/// Tells when the server listens: before that it cannot be stopped.
class Rpc_server::Readiness final : public server::TServerEventHandler {
public:
    void preServe() override { set(); }
    void set()
    {
        const std::lock_guard guard(mutex_);
        ready_ = true;
        changed_.notify_all();
    }
    void wait()
    {
        std::unique_lock guard(mutex_);
        changed_.wait(guard, [this] { return ready_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool ready_ = false; ///< guarded by `mutex_`
};

Rpc_server::Rpc_server(Flintrow& flintrow, std::uint16_t port)
    : flintrow_(flintrow)
    , readiness_(std::make_shared<Readiness>())
    , server_(std::make_shared<::flintrow::FlintrowThriftProcessor>(handler_),
              std::make_shared<transport::TServerSocket>(loopback, port),
              std::make_shared<transport::TBufferedTransportFactory>(), make_protocol_factory())
{
    handler_->attach(flintrow);
    server_.setServerEventHandler(readiness_);
    server_.setConcurrentClientLimit(connection_limit);
    if (!thread::argument::start<Rpc_server*>(thread_, &IPCHandler, this, thread::Ending::join)) {
        std::printf("Error - pthread_create() return code: %d\n", thread_->error());
        flintrow.end_process(1);
        readiness_->set();
    }
}

Rpc_server::~Rpc_server()
{
    readiness_->wait();
    server_.stop();
    handler_->detach();
    thread_->join();
}

void Rpc_server::IPCHandler(Rpc_server* server) { server->serve(); }

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
    readiness_->set();
}

} // namespace qv::can_bus::flr
