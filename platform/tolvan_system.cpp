#include "platform/tolvan_system.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>

#include "platform/dekstop_system.h"
#include "platform/imx6_system.h"
#include "platform/sources.h"
#include "platform/tvs_system.h"

namespace qv::platform {

namespace {

constexpr const char* platform_file = "/etc/tolvan/platform";
constexpr const char* features_file = "/etc/tolvan/flintrow/features.conf";
constexpr const char* unknown = "UNKNOWN";

template <class System> std::unique_ptr<TolvanSystem> make() { return std::make_unique<System>(); }

struct Platform {
    const char* name;
    std::unique_ptr<TolvanSystem> (*make)();
    std::uint32_t code;
};

// clang-format off
/// The index is the platform's number.
constexpr Platform platforms[] = {
    {"HALDEN",     make<tvs_system>,     0},
    {"HALDENMID",  make<tvs_system>,     0},
    {"MOSSLEY",    make<imx6_system>,    1},
    {"TARNWOOD",   make<imx6_system>,    26},
    {"HALDENPLUS", make<imx6_system>,    0},
    {"DESKTOP",    make<dekstop_system>, 30},
    {unknown,      make<dekstop_system>, 30}, // and any other text
};

/// In the order of `Feature`.
constexpr const char* feature_keys[feature_count] = {
    "filetransfer", "remotesupport", "system", "ota", "telematics", "ssh", "realtimecanmonitor",
};
// clang-format on

std::uint32_t platform_number(std::string_view text)
{
    const auto* last = std::end(platforms) - 1;
    const auto* found =
        std::find_if(std::begin(platforms), last, [text](const auto& row) { return row.name == text; });
    return static_cast<std::uint32_t>(found - std::begin(platforms));
}

/// The platform whose class is made.
std::string class_platform()
{
    if (auto text = file_text(platform_file)) {
        return *text;
    }
    const std::string path = desktop_file();
    std::printf("Searching for config file @ %s\r\n", path.c_str());
    const Json file = load_json(path);
    if (file == nullptr) {
        std::puts("Error loading config file");
        return unknown;
    }
    const auto text = json_text(file, "platform");
    if (!text) {
        std::puts("Missing message element 'platform'");
        return unknown;
    }
    std::printf("Platform: %s\r\n", text->c_str());
    return *text;
}

/// The platform that the object tells: a developer's machine can pose as another one.
std::string told_platform()
{
    if (auto text = file_text(platform_file)) {
        return *text;
    }
    const Json file = load_json(desktop_file());
    const auto text = json_text(file, "virtualPlatform");
    if (file != nullptr && !text) {
        std::puts("Missing message element 'virtualPlatform'");
    }
    return text.value_or(unknown);
}

Feature_state feature_state(std::string_view text)
{
    if (text == "enabled") {
        return Feature_state::enabled;
    }
    return text == "server-only" ? Feature_state::server_only : Feature_state::disabled;
}

const TolvanSystem* const terminal_object = create_system().release();

} // namespace

TolvanSystem::TolvanSystem()
    : platform_(told_platform())
    , platform_type_(platform_number(platform_))
{
    features_.fill(Feature_state::disabled);
    read_features();
}

void TolvanSystem::read_features()
{
    const Json file = load_json(features_file);
    for (std::size_t i = 0; i < feature_count; ++i) {
        if (const auto text = json_text(file, feature_keys[i])) {
            features_[i] = feature_state(*text);
        }
    }
}

std::unique_ptr<TolvanSystem> create_system()
{
    const Platform& row = platforms[platform_number(class_platform())];
    auto system = row.make();
    system->platform_code_ = row.code;
    return system;
}

const TolvanSystem& terminal() noexcept { return *terminal_object; }

} // namespace qv::platform
