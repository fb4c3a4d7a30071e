#include "can/network/ecu/configuration.h"

#include <string>
#include <string_view>

namespace qv::can_bus::ecu::configuration {

namespace {

/// A node below the ECU's, made when it is missing; null below null.
config::Object* child(config::Configuration& configuration, config::Object* node, std::string_view path)
{
    return node != nullptr ? configuration.find_object(path, true, node) : nullptr;
}

void read(config::Configuration& configuration, config::Object* node, std::string_view key, std::uint32_t& value)
{
    value = configuration.get_decimal(node, key, value);
}

void read(config::Configuration& configuration, config::Object* node, std::string_view key, std::string& value)
{
    const char* text = configuration.get_text(node, key, value.c_str());
    value = std::string(text != nullptr ? text : "");
}

void read_transport(config::Configuration& configuration, config::Object* node, tp::Limits& limits)
{
    read(configuration, node, "rx_dt_message_count_cts_maximum", limits.rx_dt_message_count_cts_maximum);
    read(configuration, node, "tx_dt_message_count_time_cycle_maximum",
         limits.tx_dt_message_count_time_cycle_maximum);
    read(configuration, node, "tx_try_count_maximum", limits.tx_try_count_maximum);
}

void read_diagnostic(config::Configuration& configuration, config::Object* node,
                     properties::Properties& properties)
{
    config::Object* const certification = child(configuration, node, "certification");
    config::Object* const laboratory = child(configuration, certification, "laboratory");
    read(configuration, laboratory, "id", properties.certification_laboratory_id);
    read(configuration, laboratory, "type", properties.certification_laboratory_type);
    read(configuration, certification, "reference_number", properties.certification_reference_number);
    read(configuration, certification, "revision", properties.certification_revision);
    read(configuration, certification, "year", properties.certification_year);
    read(configuration, node, "protocol", properties.diagnostic_protocol);
}

} // namespace

name::Name read_name(config::Configuration& configuration, config::Object* ecu_node, const name::Fields& defaults)
{
    name::Fields fields = defaults;
    config::Object* const node = child(configuration, ecu_node, "name");
    read(configuration, node, "ecu_instance", fields.ecu_instance);
    read(configuration, node, "function_instance", fields.function_instance);
    read(configuration, node, "serial_number", fields.identity_number);
    read(configuration, node, "manufacturer_code", fields.manufacturer_code);
    return name::compose(fields);
}

properties::Properties read_properties(config::Configuration& configuration, config::Object* ecu_node,
                                       const properties::Properties& defaults)
{
    properties::Properties properties = defaults;
    read_transport(configuration, child(configuration, ecu_node, "tp"), properties.tp);
    read(configuration, child(configuration, ecu_node, "debug"), "timer_interval",
         properties.debug_timer_interval);
    read_diagnostic(configuration, child(configuration, ecu_node, "diagnostic"), properties);
    read(configuration, ecu_node, "brand", properties.brand);
    read(configuration, ecu_node, "code", properties.code);
    read(configuration, ecu_node, "hardware_version", properties.hardware_version);
    read(configuration, ecu_node, "location", properties.location);
    read(configuration, ecu_node, "manufacturer_name", properties.manufacturer_name);
    read(configuration, ecu_node, "model_name", properties.model_name);
    read(configuration, ecu_node, "part_number", properties.part_number);
    read(configuration, ecu_node, "type", properties.type);
    return properties;
}

bool write_name(config::Configuration& configuration, config::Object* ecu_node, name::Name name,
                std::uint32_t source_address_preferred)
{
    config::Object* const node = child(configuration, ecu_node, "name");
    return configuration.set_decimal(node, "ecu_instance", name::ecu_instance(name)) &&
           configuration.set_decimal(node, "function_instance", name::function_instance(name)) &&
           configuration.set_decimal(node, "serial_number", name::identity_number(name)) &&
           configuration.set_decimal(node, "manufacturer_code", name::manufacturer_code(name)) &&
           configuration.set_decimal(ecu_node, "source_address_preferred", source_address_preferred);
}

} // namespace qv::can_bus::ecu::configuration
