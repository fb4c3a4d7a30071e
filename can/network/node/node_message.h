#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "can/network/node/name_message.h"
#include "can/network/node/trouble_code.h"

namespace qv::can_bus::node {

/// What a node told about itself; the index into `Identification`.
enum class Field : std::uint32_t {
    component_make,
    component_model,
    component_unit_number,
    component_serial_number,
    ecu_hardware_id,
    ecu_location,
    ecu_manufacturer_name,
    ecu_part_number,
    ecu_serial_number,
    ecu_type,
    product_brand,
    product_code,
    product_model,
    software_identification,
};

/// The exact bytes of each field, without conversion; empty for what was not told.
using Identification = std::array<std::string, 14>;

} // namespace qv::can_bus::node

namespace qv::can_bus::node::message {

/// Base of the messages about a node. All are posted to the bus's dispatcher.
class Node_message : public name::message::Message {
public:
    std::uint32_t source_address;

protected:
    Node_message(comm::message::Id id, name::Name node_name, std::uint32_t address) noexcept
        : Message(id, node_name)
        , source_address(address)
    {}
};

/// A control function uses another address now, or has lost its own (254). Posted by frame dispatch for each
/// node that an address claim has moved.
class Changed_address final : public comm::message::Cloneable<Changed_address, Node_message> {
public:
    static constexpr comm::message::Id id = 0x4002C;
    Changed_address(name::Name node_name, std::uint32_t address) noexcept
        : Cloneable<Changed_address, Node_message>(id, node_name, address)
    {}
};

/// A control function was seen for the first time. Posted by frame dispatch.
class Created final : public comm::message::Cloneable<Created, Node_message> {
public:
    static constexpr comm::message::Id id = 0x4002D;
    Created(name::Name node_name, std::uint32_t address) noexcept
        : Cloneable<Created, Node_message>(id, node_name, address)
    {}
};

/// All that a node told about itself, once in its life. Posted by its `detail::Manager`.
class Diagnostic_information final : public comm::message::Cloneable<Diagnostic_information, Node_message> {
public:
    static constexpr comm::message::Id id = 0x4002E;
    Diagnostic_information(name::Name node_name, std::uint32_t address, Identification fields)
        : Cloneable<Diagnostic_information, Node_message>(id, node_name, address)
        , identification(std::move(fields))
    {}
    Identification identification;
};

/// A node has sent its list of trouble codes. Posted by its `detail::Manager`, also for a list that did not
/// change.
class Diagnostic_trouble_code final : public comm::message::Cloneable<Diagnostic_trouble_code, Node_message> {
public:
    static constexpr comm::message::Id id = 0x4002F;
    enum class Kind : std::uint32_t { active = 0, previous_active = 1 };

    Diagnostic_trouble_code(name::Name node_name, std::uint32_t address, diagnostic::trouble_code::List list,
                            Kind list_kind)
        : Cloneable<Diagnostic_trouble_code, Node_message>(id, node_name, address)
        , codes(std::move(list))
        , kind(list_kind)
    {}
    diagnostic::trouble_code::List codes;
    Kind kind;
};

} // namespace qv::can_bus::node::message
