#pragma once

#include <memory>

#include "can/network/pdu/pdu.h"
#include "comm/message.h"

namespace qv::can_bus::pdu {

/// The envelope in which a PDU travels through a queue. It cannot be cloned, so it never goes on a route.
/// Posted by frame dispatch and transport reception; the bus's and the ECUs' PDU processors listen.
class Message_assigned_id final : public comm::message::assigned_id::Assigned_id {
public:
    static constexpr comm::message::Id id = 0x40030;
    explicit Message_assigned_id(std::unique_ptr<PDU> owned_pdu) noexcept
        : Assigned_id(id)
        , pdu(std::move(owned_pdu))
    {}
    std::unique_ptr<PDU> pdu; ///< never empty
};

} // namespace qv::can_bus::pdu
