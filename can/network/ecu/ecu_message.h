#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "can/network/node/name_message.h"
#include "can/network/node/node.h"
#include "comm/message.h"
#include "framework/byte_array.h"

namespace qv::can_bus::tp::tx {
class TP;
} // namespace qv::can_bus::tp::tx

namespace qv::can_bus::ecu {
class ECU;
} // namespace qv::can_bus::ecu

namespace qv::can_bus::ecu::message {

/// Base of the messages of a local ECU. They travel through the ECU's own dispatcher: "from" the ECU to those
/// who follow it, or "to" it from the application.
class ECU_message : public comm::message::assigned_id::Assigned_id {
public:
    std::shared_ptr<ECU> ecu;

protected:
    ECU_message(comm::message::Id id, std::shared_ptr<ECU> local_ecu) noexcept
        : Assigned_id(id)
        , ecu(std::move(local_ecu))
    {}
};

/// From the ECU: a peer has acknowledged, or refused, a parameter group [ISO 11783-3 5.4.5].
class Acknowledgment final : public comm::message::Cloneable<Acknowledgment, ECU_message> {
public:
    static constexpr comm::message::Id id = 0x40010;
    struct Content {
        std::uint32_t control = 0; ///< 0 is positive
        std::uint32_t group_function = 0;
        std::uint32_t address = 0;
        std::uint32_t pgn = 0;
    };

    Acknowledgment(std::shared_ptr<ECU> local_ecu, const Content& received, std::shared_ptr<node::Node> sender)
        : Cloneable<Acknowledgment, ECU_message>(id, std::move(local_ecu))
        , content(received)
        , source_node(std::move(sender))
    {}
    Content content;
    std::shared_ptr<node::Node> source_node; ///< may be empty
};

/// From the ECU: another control function has the same function and function instance. The ECU does nothing
/// about it.
class Function_instance_conflict final : public comm::message::Cloneable<Function_instance_conflict, ECU_message> {
public:
    static constexpr comm::message::Id id = 0x40015;
    Function_instance_conflict(std::shared_ptr<ECU> local_ecu, bool has_address)
        : Cloneable<Function_instance_conflict, ECU_message>(id, std::move(local_ecu))
        , on_bus(has_address)
    {}
    bool on_bus; ///< the ECU is claiming an address or holds one
};

/// To the ECU: send a payload of any length. A destination that is not known makes it a global one.
class PDU_transmit final : public comm::message::Cloneable<PDU_transmit, ECU_message> {
public:
    static constexpr comm::message::Id id = 0x40150;
    PDU_transmit(std::shared_ptr<ECU> local_ecu, name::Name destination_name, std::uint32_t pdu_priority,
                 std::uint32_t pdu_pgn, Byte_array pdu_payload)
        : Cloneable<PDU_transmit, ECU_message>(id, std::move(local_ecu))
        , destination(destination_name)
        , priority(pdu_priority)
        , pgn(pdu_pgn)
        , payload(std::move(pdu_payload))
    {}
    name::Name destination;
    std::uint32_t priority; ///< 0 to 7
    std::uint32_t pgn;
    Byte_array payload;
};

namespace address {

/// From the ECU: it wants another address than before, since that one is taken.
class Changed final : public comm::message::Cloneable<Changed, ECU_message> {
public:
    static constexpr comm::message::Id id = 0x40011;
    Changed(std::shared_ptr<ECU> local_ecu, std::uint32_t wanted)
        : Cloneable<Changed, ECU_message>(id, std::move(local_ecu))
        , wanted_address(wanted)
    {}
    std::uint32_t wanted_address;
};

/// From the ECU: it holds its address now and may send.
class Claimed final : public comm::message::Cloneable<Claimed, ECU_message> {
public:
    static constexpr comm::message::Id id = 0x40012;
    explicit Claimed(std::shared_ptr<ECU> local_ecu)
        : Cloneable<Claimed, ECU_message>(id, std::move(local_ecu))
    {}
};

/// From the ECU: a control function with a better NAME has taken its address.
class Lost_claim final : public comm::message::Cloneable<Lost_claim, ECU_message> {
public:
    static constexpr comm::message::Id id = 0x40013;
    Lost_claim(std::shared_ptr<ECU> local_ecu, std::uint32_t lost)
        : Cloneable<Lost_claim, ECU_message>(id, std::move(local_ecu))
        , lost_address(lost)
    {}
    std::uint32_t lost_address;
};

/// To the ECU: claim this address, or another one if it is taken.
class Start_claim final : public comm::message::Cloneable<Start_claim> {
public:
    static constexpr comm::message::Id id = 0x40014;
    explicit Start_claim(std::uint32_t preferred) noexcept
        : Cloneable<Start_claim>(id)
        , preferred_address(preferred)
    {}
    std::uint32_t preferred_address;
};

} // namespace address

namespace software_identification {

/// From the ECU: somebody wants to know its software.
class Request final : public comm::message::Cloneable<Request, ECU_message> {
public:
    static constexpr comm::message::Id id = 0x40016;
    Request(std::shared_ptr<ECU> local_ecu, std::shared_ptr<node::Node> requesting_node)
        : Cloneable<Request, ECU_message>(id, std::move(local_ecu))
        , requester(std::move(requesting_node))
    {}
    std::shared_ptr<node::Node> requester; ///< empty for a global request
};

/// To the ECU: the answer to a `Request`.
class Response final : public comm::message::Cloneable<Response, ECU_message> {
public:
    static constexpr comm::message::Id id = 0x40017;
    Response(std::shared_ptr<ECU> local_ecu, std::shared_ptr<node::Node> requester, std::string text)
        : Cloneable<Response, ECU_message>(id, std::move(local_ecu))
        , destination(std::move(requester))
        , identification(std::move(text))
    {}
    std::shared_ptr<node::Node> destination; ///< empty sends it to all
    std::string identification;              ///< fields, each closed by "*"
};

} // namespace software_identification

namespace tp::tx {

/// From the ECU: how far the sending transport session is. Both are 0 when none runs.
class Current_state final : public comm::message::Cloneable<Current_state, ECU_message> {
public:
    static constexpr comm::message::Id id = 0x40018;
    Current_state(std::shared_ptr<ECU> local_ecu, std::uint32_t size_total, std::uint32_t size_sent)
        : Cloneable<Current_state, ECU_message>(id, std::move(local_ecu))
        , total(size_total)
        , sent(size_sent)
    {}
    std::uint32_t total; ///< bytes of the message
    std::uint32_t sent;  ///< bytes in whole packets of 7
};

/// To the ECU: tell the `Current_state`.
class Current_state_request final : public comm::message::Cloneable<Current_state_request, ECU_message> {
public:
    static constexpr comm::message::Id id = 0x40019;
    explicit Current_state_request(std::shared_ptr<ECU> local_ecu)
        : Cloneable<Current_state_request, ECU_message>(id, std::move(local_ecu))
    {}
};

/// From the ECU: a sending transport session has ended; the session tells how.
class Transferred final : public comm::message::Cloneable<Transferred, ECU_message> {
public:
    static constexpr comm::message::Id id = 0x4001A;
    Transferred(std::shared_ptr<ECU> local_ecu, std::shared_ptr<can_bus::tp::tx::TP> finished)
        : Cloneable<Transferred, ECU_message>(id, std::move(local_ecu))
        , session(std::move(finished))
    {}
    std::shared_ptr<can_bus::tp::tx::TP> session;
};

} // namespace tp::tx

} // namespace qv::can_bus::ecu::message
