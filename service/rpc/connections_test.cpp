#include "service/rpc/connections.h"

#include <future>
#include <stdexcept>
#include <thread>

#include <FlintrowThrift.h>
#include <gtest/gtest.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TSocket.h>

namespace qv::can_bus::flr {
namespace {

using namespace apache::thrift;

/// A service one of whose calls fails inside.
class Failing_service final : public ::flintrow::FlintrowThriftNull {
public:
    void GetStatus(::flintrow::stInfo& /*result*/) override { throw std::runtime_error("no status"); }
};

class Listening final : public server::TServerEventHandler {
public:
    void preServe() override { listens_.set_value(); }
    void wait() { listens_.get_future().wait(); }

private:
    std::promise<void> listens_;
};

TEST(Connections_test, a_call_that_fails_inside_is_told_to_its_caller_and_the_connection_goes_on)
{
    const auto socket = std::make_shared<Server_socket>(0);
    const auto listening = std::make_shared<Listening>();
    Threaded_server server(
        std::make_shared<::flintrow::FlintrowThriftProcessor>(std::make_shared<Failing_service>()), socket,
        std::make_shared<transport::TBufferedTransportFactory>(),
        std::make_shared<protocol::TBinaryProtocolFactory>(), std::make_shared<Connection_thread_factory>());
    server.setServerEventHandler(listening);
    std::thread serving([&server] { server.serve(); });
    listening->wait();

    const auto connection = std::make_shared<transport::TBufferedTransport>(
        std::make_shared<transport::TSocket>("127.0.0.1", socket->getPort()));
    connection->open();
    ::flintrow::FlintrowThriftClient caller(std::make_shared<protocol::TBinaryProtocol>(connection));
    ::flintrow::stInfo status;
    EXPECT_THROW(caller.GetStatus(status), TApplicationException);
    EXPECT_EQ(caller.UpdateComplete(), 0);

    server.stop(); // with the connection open
    serving.join();
    EXPECT_THROW(caller.UpdateComplete(), transport::TTransportException);
}

} // namespace
} // namespace qv::can_bus::flr
