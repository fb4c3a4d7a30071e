#include "can/network/bus_properties.h"

#include <memory>

#include "config/primary.h"

namespace qv::can_bus::bus::properties {

namespace {

void read_keys(config::Configuration& configuration, Properties& properties)
{
    config::Object* const requester = configuration.find_object("can_bus/address_claim/requester", true);
    properties.request_count_maximum =
        configuration.get_decimal(requester, "request_count_maximum", properties.request_count_maximum);
    properties.time_threshold = configuration.get_decimal(requester, "time_threshold", properties.time_threshold);

    config::Object* const node = configuration.find_object("can_bus/node", true);
    properties.node_timeout = configuration.get_decimal(node, "timeout", properties.node_timeout);
    config::Object* const detail_manager = configuration.find_object("can_bus/node/detail_manager", true);
    properties.detail_manager_enabled =
        configuration.get_boolean(detail_manager, "enable", properties.detail_manager_enabled);

    config::Object* const pdu_log = configuration.find_object("can_bus/pdu/log", true);
    properties.pdu_log_annotate = configuration.get_boolean(pdu_log, "annotate", properties.pdu_log_annotate);
    properties.pdu_log_enabled = configuration.get_boolean(pdu_log, "enable", properties.pdu_log_enabled);
    config::Object* const pdu = configuration.find_object("can_bus/pdu", true);
    properties.pdu_trace = configuration.get_boolean(pdu, "trace", properties.pdu_trace);

    config::Object* const bus = configuration.find_object("can_bus", true);
    properties.receive_transmitted_messages =
        configuration.get_boolean(bus, "receive_transmitted_messages", properties.receive_transmitted_messages);
    const char* const title = configuration.get_text(bus, "title", title_default);
    properties.title = title != nullptr ? title : title_default;
}

} // namespace

Properties read()
{
    Properties properties;
    if (const auto configuration = config::primary_configuration()) {
        read_keys(*configuration, properties);
    }
    return properties;
}

} // namespace qv::can_bus::bus::properties
