#pragma once

#include "comm/observer.h"

namespace qv::can_bus::bus {

class Bus;

/// Creates and deletes local ECUs on request, and answers each request on the bus's dispatcher.
///
/// Thread: the bus thread, on the bus's dispatcher. Lifetime: the bus owns it.
class Observer final : public comm::observer::Observer_dispatcher_id {
public:
    explicit Observer(Bus& bus);

    void subscribe() override;
    void unsubscribe() override;

private:
    void on_ecu_create(comm::message::Message& message);
    void on_ecu_delete(comm::message::Message& message);

    Bus& bus_;
};

} // namespace qv::can_bus::bus
