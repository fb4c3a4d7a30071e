#pragma once

#include "comm/observer.h"

namespace qv::can_bus::flr {

class Flintrow;

/// Hears what ECUs send to the service's own ECU or to all: claims, identifications, the answers of a
/// bootloader. Takes the messages apart as far as their addresses and hands them on.
///
/// Thread: the bus thread. The service outlives it.
class Programmable_item_PDU_Observer final : public comm::observer::Observer_dispatcher_id {
public:
    /// Works on the dispatcher on which the ECU's PDUs arrive by PGN.
    Programmable_item_PDU_Observer(comm::dispatcher::Dispatcher_id pdu_dispatcher_id, Flintrow& flintrow) noexcept
        : Observer_dispatcher_id(pdu_dispatcher_id)
        , flintrow_(flintrow)
    {}

    void subscribe() override;
    void unsubscribe() override;

private:
    template <class Visit> static void for_each_subscription(Visit visit);
    /// [ISO 11783-5 4.4.2.3] The payload is the NAME of the sender.
    void on_address_claimed(comm::message::Message& message);
    void on_custom_message(comm::message::Message& message);
    void on_memory_access_response(comm::message::Message& message);
    void on_memory_access_tp_receive(comm::message::Message& message);
    void on_ecu_identification(comm::message::Message& message);
    void on_software_identification(comm::message::Message& message);
    /// The report of a wireless node's gateway about the ECUs behind it.
    void on_gwpgn(comm::message::Message& message);

    Flintrow& flintrow_;
};

} // namespace qv::can_bus::flr
