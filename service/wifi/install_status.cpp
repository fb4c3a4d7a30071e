#include "service/wifi/install_status.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>

#include <jansson.h>

namespace qv::can_bus::flr {

namespace {

using Limits = std::numeric_limits<std::int32_t>;

struct Release {
    void operator()(json_t* value) const noexcept { json_decref(value); }
};
using Json = std::unique_ptr<json_t, Release>;

std::int32_t number_of(const json_t& object, const char* key)
{
    const json_t* value = json_object_get(&object, key);
    if (json_is_real(value)) {
        return static_cast<std::int32_t>(std::clamp<double>(json_real_value(value), Limits::min(), Limits::max()));
    }
    return static_cast<std::int32_t>(
        std::clamp<json_int_t>(json_integer_value(value), Limits::min(), Limits::max()));
}

std::string text_of(const json_t& object, const char* key)
{
    const char* text = json_string_value(json_object_get(&object, key));
    return text == nullptr ? "" : text;
}

void print(const Install_status& status)
{
    std::printf("Version: %d\r\n", status.version);
    std::printf("State: %s\r\n", status.state.c_str());
    std::printf("Progress: %s\r\n", status.progress.c_str());
    std::printf("Error: %s\r\n", status.error.c_str());
}

} // namespace

std::optional<Install_status> parse_install_status(std::string reply)
{
    reply.resize(std::min(reply.find("<!"), reply.size()));
    std::printf("Reponse: [%s]\r\n", reply.c_str());
    const Json json(json_loads(reply.c_str(), JSON_DISABLE_EOF_CHECK, nullptr)); // what follows does not matter
    if (!json_is_object(json.get())) {
        std::puts("Error parsing json payload");
        return std::nullopt;
    }
    Install_status status{number_of(*json, "version"), text_of(*json, "state"), text_of(*json, "progress"),
                          text_of(*json, "error")};
    print(status);
    return status;
}

std::int32_t decimal_value(const std::string& text)
{
    return static_cast<std::int32_t>(
        std::clamp<long>(std::strtol(text.c_str(), nullptr, 10), Limits::min(), Limits::max()));
}

} // namespace qv::can_bus::flr
