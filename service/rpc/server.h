#pragma once

#include <cstdint>
#include <memory>

#include "framework/thread/handle.h"
#include "service/flintrow.h"
#include "service/rpc/connections.h"
#include "service/rpc/flintrow_thrift_handler.h"

namespace qv::can_bus::flr {

/// Serves the user interface on the loopback address: Apache Thrift, binary protocol over a buffered transport, a
/// thread for each connection.
///
/// Thread: made and destroyed by the thread that owns the service, which outlives it.
class Rpc_server final : public Remote_control {
public:
    /// Connections at a time; the next one waits until one of them ends.
    static constexpr std::int64_t connection_limit = 256;
    /// Bytes that a caller may send in one text.
    static constexpr std::int32_t text_limit = 64 * 1024;

    /// Starts the RPC thread; a failure, and a port that is taken, end the process.
    Rpc_server(Flintrow& flintrow, std::uint16_t port);
    /// Ends the connections and waits for their threads.
    ~Rpc_server() override;

private:
    class Readiness;

    static void IPCHandler(Rpc_server* server);
    void serve();

    Flintrow& flintrow_;
    const std::shared_ptr<FlintrowThriftHandler> handler_ = std::make_shared<FlintrowThriftHandler>();
    const std::shared_ptr<Readiness> readiness_;
    Threaded_server server_;
    const std::shared_ptr<thread::Handle> thread_ = std::make_shared<thread::Handle>("RPC");
};

} // namespace qv::can_bus::flr
