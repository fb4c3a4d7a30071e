#pragma once

#include "comm/observer.h"

namespace qv::can_bus::flr {

/// Hears the requests for the identification of the service's own ECU. The ECU answers them by itself, so that
/// the service has nothing to add.
///
/// Thread: the bus thread.
class PDU_request_observer final : public comm::observer::Observer_dispatcher_id {
public:
    /// Works on the dispatcher on which the ECU's requests arrive by the requested PGN.
    using Observer_dispatcher_id::Observer_dispatcher_id;

    void subscribe() override;
    void unsubscribe() override;

private:
    void on_component_identification(comm::message::Message& message);
    void on_ecu_identification(comm::message::Message& message);
    void on_software_identification(comm::message::Message& message);
};

} // namespace qv::can_bus::flr
