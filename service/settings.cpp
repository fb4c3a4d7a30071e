#include "service/settings.h"

#include <cstdlib>

#include "can/network/ecu/configuration.h"
#include "config/node.h"
#include "config/primary.h"

namespace qv::can_bus::flr {

namespace {

constexpr const char* root_label = "Flintrow";

/// The node of a component, made when it is missing.
config::node::Node node_at(config::List& list, const std::string& path)
{
    return config::node::Node(&list, list.find_object(path, true));
}

/// The low 16 bits of the terminal's serial number, with its product family above them.
std::uint32_t identity_number(const Identity& identity)
{
    const auto serial = static_cast<std::uint32_t>(std::strtoul(identity.serial.c_str(), nullptr, 10));
    return (serial & 0xFFFF) | (identity.platform_code << 16);
}

/// The identity number of the file has no effect: that of the terminal takes its place.
name::Name read_name(config::List& list, config::Object* ecu_node, const Identity& identity)
{
    name::Fields fields;
    fields.identity_number = 1;
    fields.manufacturer_code = 151;
    fields.function = 129;
    fields.device_class_instance = 1;
    fields.self_configurable = 1;
    constexpr name::Name all_of_it = name::compose({.identity_number = UINT32_MAX});
    return (ecu::configuration::read_name(list, ecu_node, fields) & ~all_of_it) |
           name::compose({.identity_number = identity_number(identity)});
}

ecu::properties::Properties read_properties(config::List& list, config::Object* ecu_node, const Identity& identity)
{
    ecu::properties::Properties defaults;
    defaults.manufacturer_name = "Tolvan";
    defaults.model_name = "Mendrix";
    defaults.type = "operator_controls";
    auto properties = ecu::configuration::read_properties(list, ecu_node, defaults);
    properties.part_number = identity.part_number;
    return properties;
}

/// A number that is no port gives way to the usual one.
std::uint16_t port_of(std::uint32_t number)
{
    return number <= UINT16_MAX ? static_cast<std::uint16_t>(number) : Settings().rpc_port;
}

} // namespace

bool is_enabled()
{
    const auto list = config::primary_configuration();
    return list != nullptr && node_at(*list, root_label).get_boolean("enable", false);
}

std::optional<Settings> read_settings(const Identity& identity)
{
    const auto list = config::primary_configuration();
    if (list == nullptr) {
        return std::nullopt;
    }
    const std::string root = root_label;
    auto ecu_node = node_at(*list, root + "/ecu");
    auto vt_node = node_at(*list, root + "/vt_client");
    Settings settings;
    settings.log = node_at(*list, root).get_boolean("log", false);
    settings.source_address_preferred = ecu_node.get_decimal("source_address_preferred", 249);
    settings.name = read_name(*list, ecu_node.object(), identity);
    settings.ecu_properties = read_properties(*list, ecu_node.object(), identity);
    settings.rpc_port = port_of(node_at(*list, root + "/rpc").get_decimal("port", settings.rpc_port));
    settings.vt_function_instance = vt_node.get_decimal("function_instance_preferred", 0);
    settings.vt_pool_path =
        node_at(*list, root + "/vt_client/pool").get_text("path", "/etc/tolvan/flintrow/vt_pool/");
    return settings;
}

} // namespace qv::can_bus::flr
