#include "service/settings.h"

#include <cstdlib>

#include "config/node.h"
#include "config/primary.h"

namespace qv::can_bus::flr {

namespace {

constexpr const char* root_label = "Flintrow";
constexpr std::uint32_t control_function = 129; // of the NAME [ISO 11783-5 4.3]

/// The node at `path` below "Flintrow", made when it is missing.
config::node::Node node_at(config::List& list, const std::string& path)
{
    return config::node::Node(&list, list.find_object(std::string(root_label) + "/" + path, true));
}

/// The low 16 bits of the serial number, with the product family above them.
std::uint32_t identity_number(const Identity& identity)
{
    const auto serial = static_cast<std::uint32_t>(std::strtoul(identity.serial.c_str(), nullptr, 10));
    return (serial & 0xFFFF) | (identity.platform_code << 16);
}

/// The key of the identity number is there for whoever looks into the file; the terminal's own one counts.
name::Name read_name(config::List& list, const Identity& identity)
{
    auto node = node_at(list, "ecu/name");
    name::Fields fields;
    fields.ecu_instance = node.get_decimal("ecu_instance", 0);
    fields.function_instance = node.get_decimal("function_instance", 0);
    fields.identity_number = node.get_decimal("serial_number", 1);
    fields.manufacturer_code = node.get_decimal("manufacturer_code", 151);
    fields.identity_number = identity_number(identity);
    fields.function = control_function;
    fields.device_class_instance = 1;
    fields.self_configurable = 1;
    return name::compose(fields);
}

tp::Limits read_limits(config::List& list)
{
    auto node = node_at(list, "ecu/tp");
    tp::Limits limits;
    limits.rx_dt_message_count_cts_maximum = node.get_decimal("rx_dt_message_count_cts_maximum", 16);
    limits.tx_dt_message_count_time_cycle_maximum = node.get_decimal("tx_dt_message_count_time_cycle_maximum", 4);
    limits.tx_try_count_maximum = node.get_decimal("tx_try_count_maximum", 5);
    return limits;
}

void read_certification(config::List& list, ecu::properties::Properties& properties)
{
    auto laboratory = node_at(list, "ecu/diagnostic/certification/laboratory");
    properties.certification_laboratory_id = laboratory.get_decimal("id", 0);
    properties.certification_laboratory_type = laboratory.get_decimal("type", 7);
    auto certification = node_at(list, "ecu/diagnostic/certification");
    properties.certification_reference_number = certification.get_decimal("reference_number", 65535);
    properties.certification_revision = certification.get_decimal("revision", 3);
    properties.certification_year = certification.get_decimal("year", 2016);
}

ecu::properties::Properties read_properties(config::List& list, const Identity& identity)
{
    constexpr const char* unknown = ecu::properties::Properties::not_available_string;
    auto node = node_at(list, "ecu");
    ecu::properties::Properties properties;
    properties.tp = read_limits(list);
    properties.debug_timer_interval = node_at(list, "ecu/debug").get_decimal("timer_interval", 0);
    read_certification(list, properties);
    properties.diagnostic_protocol = node_at(list, "ecu/diagnostic").get_decimal("protocol", 0);
    properties.brand = node.get_text("brand", unknown);
    properties.code = node.get_text("code", unknown);
    properties.hardware_version = node.get_text("hardware_version", unknown);
    properties.location = node.get_text("location", unknown);
    properties.manufacturer_name = node.get_text("manufacturer_name", "Tolvan");
    properties.model_name = node.get_text("model_name", "Mendrix");
    properties.part_number = node.get_text("part_number", unknown);
    properties.part_number = identity.part_number;
    properties.type = node.get_text("type", "operator_controls");
    return properties;
}

} // namespace

bool is_enabled()
{
    const auto list = config::primary_configuration();
    return list != nullptr &&
           config::node::Node(list.get(), list->find_object(root_label, true)).get_boolean("enable", false);
}

std::optional<Settings> read_settings(const Identity& identity)
{
    const auto list = config::primary_configuration();
    if (list == nullptr) {
        return std::nullopt;
    }
    Settings settings;
    settings.log = config::node::Node(list.get(), list->find_object(root_label, true)).get_boolean("log", false);
    settings.source_address_preferred = node_at(*list, "ecu").get_decimal("source_address_preferred", 249);
    settings.name = read_name(*list, identity);
    settings.ecu_properties = read_properties(*list, identity);
    settings.vt_function_instance = node_at(*list, "vt_client").get_decimal("function_instance_preferred", 0);
    settings.vt_pool_path = node_at(*list, "vt_client/pool").get_text("path", "/etc/tolvan/flintrow/vt_pool/");
    return settings;
}

} // namespace qv::can_bus::flr
