#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "can/network/pdu/name.h"
#include "comm/message.h"

namespace qv::can_bus::name::message {

/// Base of all messages that identify a party by its NAME.
class Message : public comm::message::assigned_id::Assigned_id {
public:
    /// Reads what `serialize` wrote behind the id. A body that is cut short or has another length leaves the
    /// NAME as it is.
    void deserialize(std::span<const std::uint8_t> bytes, std::size_t& offset) override;
    /// Appends the id, the length 8 in four bytes, and the NAME; all least significant byte first.
    void serialize(std::vector<std::uint8_t>& bytes) const override;

    Name name;

protected:
    Message(comm::message::Id id, Name party) noexcept
        : Assigned_id(id)
        , name(party)
    {}
};

} // namespace qv::can_bus::name::message
