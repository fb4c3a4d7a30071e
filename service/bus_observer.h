#pragma once

#include "comm/observer.h"

namespace qv::can_bus::flr {

namespace message {

/// The service is to ask everybody for the address claim. Posted to the bus's dispatcher from any thread.
class Request_address_claims final : public comm::message::Cloneable<Request_address_claims> {
public:
    static constexpr comm::message::Id id = 0x40F01;
    Request_address_claims() noexcept
        : Cloneable<Request_address_claims>(id)
    {}
};

} // namespace message

class Flintrow;

/// Hears what the bus tells the service: its own ECU coming and going, new nodes, the tick of a second.
///
/// Thread: the bus thread. The service outlives it.
class Bus_observer final : public comm::observer::Observer_dispatcher_id {
public:
    explicit Bus_observer(Flintrow& flintrow) noexcept;

    void subscribe() override;
    void unsubscribe() override;

private:
    /// Takes over the service's own ECU and has it claim an address.
    void on_ecu_create_response(comm::message::Message& message);
    void on_ecu_delete_response(comm::message::Message& message);
    /// Of no effect: the list of ECUs is filled by address claims.
    void on_node_create(comm::message::Message& message);
    void on_time_elapsed(comm::message::Message& message);
    void on_request_address_claims(comm::message::Message& message);

    Flintrow& flintrow_;
};

} // namespace qv::can_bus::flr
