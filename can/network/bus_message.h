#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "can/network/ecu/properties.h"
#include "can/network/node/name_message.h"
#include "comm/message.h"
#include "comm/observer.h"

namespace qv::can_bus::ecu {
class ECU;
} // namespace qv::can_bus::ecu

/// Messages of a bus. All of them travel through the bus's dispatcher, unless the requester names another one
/// for the response.
namespace qv::can_bus::bus::message {

using comm::dispatcher::Dispatcher_id;

/// Asks for a local ECU. The application posts it; the bus listens.
class ECU_create : public comm::message::Cloneable<ECU_create, name::message::Message> {
public:
    static constexpr comm::message::Id id = 0x4000B;
    ECU_create(name::Name ecu_name, ecu::properties::Properties ecu_properties)
        : ECU_create(id, ecu_name, std::move(ecu_properties))
    {}
    ecu::properties::Properties properties;

protected:
    ECU_create(comm::message::Id derived_id, name::Name ecu_name, ecu::properties::Properties ecu_properties)
        : Cloneable<ECU_create, name::message::Message>(derived_id, ecu_name)
        , properties(std::move(ecu_properties))
    {}
};

/// The new ECU, or an empty pointer. Posted by the bus.
class ECU_create_response final : public comm::message::Cloneable<ECU_create_response, ECU_create> {
public:
    static constexpr comm::message::Id id = 0x4000C;
    ECU_create_response(const ECU_create& request, std::shared_ptr<ecu::ECU> created)
        : Cloneable<ECU_create_response, ECU_create>(id, request.name, request.properties)
        , ecu(std::move(created))
    {}
    std::shared_ptr<ecu::ECU> ecu;
};

/// Takes the local ECU of this NAME from the bus. The application posts it; the bus listens.
class ECU_delete : public comm::message::Cloneable<ECU_delete, name::message::Message> {
public:
    static constexpr comm::message::Id id = 0x4000D;
    explicit ECU_delete(name::Name ecu_name) noexcept
        : ECU_delete(id, ecu_name)
    {}

protected:
    ECU_delete(comm::message::Id derived_id, name::Name ecu_name) noexcept
        : Cloneable<ECU_delete, name::message::Message>(derived_id, ecu_name)
    {}
};

/// The ECU that was taken away, already silent; empty when none had this NAME. Posted by the bus.
class ECU_delete_response final : public comm::message::Cloneable<ECU_delete_response, ECU_delete> {
public:
    static constexpr comm::message::Id id = 0x4000E;
    ECU_delete_response(name::Name ecu_name, std::shared_ptr<ecu::ECU> removed) noexcept
        : Cloneable<ECU_delete_response, ECU_delete>(id, ecu_name)
        , ecu(std::move(removed))
    {}
    std::shared_ptr<ecu::ECU> ecu;
};

/// The counters of the device, about every 500 ms. Posted by the bus thread.
class CAN_state final : public comm::message::Cloneable<CAN_state> {
public:
    static constexpr comm::message::Id id = 0x40131;
    struct Counts {
        std::uint32_t received = 0;
        std::uint32_t transmitted = 0;
        std::uint32_t transmit_failures = 0;
    };
    CAN_state(const Counts& totals, std::uint32_t interval_ms) noexcept
        : Cloneable<CAN_state>(id)
        , counts(totals)
        , interval(interval_ms)
    {}
    Counts counts;          ///< frames since the device was made
    std::uint32_t interval; ///< milliseconds since the last such message, 0 in the first
};

/// Asks what device the bus has. The bus thread answers.
class Get_interface_description_request final
    : public comm::message::Cloneable<Get_interface_description_request> {
public:
    static constexpr comm::message::Id id = 0x40133;
    explicit Get_interface_description_request(Dispatcher_id requesting_dispatcher) noexcept
        : Cloneable<Get_interface_description_request>(id)
        , requester(requesting_dispatcher)
    {}
    Dispatcher_id requester; ///< where the response goes
};

class Get_interface_description_response final
    : public comm::message::Cloneable<Get_interface_description_response> {
public:
    static constexpr comm::message::Id id = 0x40134;
    explicit Get_interface_description_response(std::string text)
        : Cloneable<Get_interface_description_response>(id)
        , description(std::move(text))
    {}
    std::string description;
};

/// What the frame logger records.
enum class Logging_type : std::uint32_t { none = 0, all_frames = 1 };

/// Asks whether frames are logged. The bus thread answers.
class Get_logging_type_request final : public comm::message::Cloneable<Get_logging_type_request> {
public:
    static constexpr comm::message::Id id = 0x40135;
    explicit Get_logging_type_request(Dispatcher_id requesting_dispatcher) noexcept
        : Cloneable<Get_logging_type_request>(id)
        , requester(requesting_dispatcher)
    {}
    Dispatcher_id requester; ///< where the response goes
};

class Get_logging_type_response final : public comm::message::Cloneable<Get_logging_type_response> {
public:
    static constexpr comm::message::Id id = 0x40136;
    explicit Get_logging_type_response(Logging_type current) noexcept
        : Cloneable<Get_logging_type_response>(id)
        , type(current)
    {}
    Logging_type type;
};

/// Switches the frame logger. The bus thread answers.
class Set_logging_type_request final : public comm::message::Cloneable<Set_logging_type_request> {
public:
    static constexpr comm::message::Id id = 0x40137;
    Set_logging_type_request(Dispatcher_id requesting_dispatcher, std::uint32_t logging_type) noexcept
        : Cloneable<Set_logging_type_request>(id)
        , requester(requesting_dispatcher)
        , type(logging_type)
    {}
    Dispatcher_id requester; ///< where the response goes
    std::uint32_t type;      ///< a `Logging_type`; any other number is refused
};

class Set_logging_type_response final : public comm::message::Cloneable<Set_logging_type_response> {
public:
    static constexpr comm::message::Id id = 0x40138;
    explicit Set_logging_type_response(bool was_set) noexcept
        : Cloneable<Set_logging_type_response>(id)
        , success(was_set)
    {}
    bool success;
};

} // namespace qv::can_bus::bus::message
