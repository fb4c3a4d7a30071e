#include "ctl/json.h"

#include <cmath>

#include <nlohmann/json.hpp>

namespace ctl {

namespace {

using Json = nlohmann::ordered_json;

std::string text_of(const Json& json, int indent = -1)
{
    return json.dump(indent, ' ', true, Json::error_handler_t::replace);
}

template <class Value> Json or_null(const std::optional<Value>& value)
{
    return value ? Json(*value) : Json(nullptr);
}

Json json_of(const Ecu& ecu)
{
    return {{"name", name_text(ecu.name)},
            {"address", ecu.address},
            {"title", ecu.title},
            {"current_version", ecu.current_version},
            {"update_version", ecu.update_version},
            {"update_versions", ecu.update_versions}};
}

Json json_of(const Identification& id)
{
    return {{"part_number", id.part_number}, {"revision", id.revision}, {"serial_number", id.serial_number},
            {"location", id.location},       {"type", id.type},         {"manufacturer", id.manufacturer}};
}

Json json_of(const Software& software)
{
    return {{"label", software.label}, {"part_number", software.part_number}, {"version", software.version}};
}

/// Null unless the session failed.
Json error_of(const Status& status)
{
    if (status.state != State::failure) {
        return nullptr;
    }
    const auto code = status.error.value_or(0);
    const auto& failure = meaning_of_failure(code);
    return {{"code", code}, {"meaning", failure.meaning}, {"remedy", failure.remedy}};
}

template <class Element> Json list_of(const std::vector<Element>& elements)
{
    auto list = Json::array();
    for (const auto& element : elements) {
        list.push_back(json_of(element));
    }
    return list;
}

} // namespace

std::string to_json(const std::vector<Ecu>& ecus) { return text_of(list_of(ecus), 2); }

std::string to_json(const Ecu& ecu, const Identification& identification, const std::vector<Software>& software)
{
    auto json = json_of(ecu);
    json["identification"] = json_of(identification);
    json["software"] = list_of(software);
    return text_of(json, 2);
}

std::string to_json(const std::vector<std::string>& texts) { return text_of(Json(texts), 2); }

std::string to_json(const Status& status)
{
    return text_of(
        {{"state", wire_name(status.state)}, {"progress", or_null(percent(status))}, {"error", error_of(status)}});
}

std::string to_json(const Moment& moment)
{
    using Seconds = std::optional<std::chrono::seconds::rep>;
    return text_of(
        {{"state", wire_name(moment.state)},
         {"progress", or_null(moment.percent)},
         {"error", nullptr},
         {"rate", or_null(moment.rate ? std::optional(std::round(*moment.rate * 100) / 100) : std::nullopt)},
         {"seconds_left", or_null(moment.left ? Seconds(moment.left->count()) : Seconds())}});
}

std::string started_json(const Ecu& ecu, const std::string& version)
{
    return text_of({{"started", json_of(ecu)}, {"version", version}});
}

std::string done_json(const std::string& order) { return text_of({{"done", order}}); }

} // namespace ctl
