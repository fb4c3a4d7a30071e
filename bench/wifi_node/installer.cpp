#include "bench/wifi_node/installer.h"

#include <algorithm>

#include "bench/simulated_ecu/text.h"

namespace bench::wifi {
namespace {

constexpr std::string_view release_prefix = "local,";

} // namespace

Reply Installer::take_package(std::uint64_t size)
{
    report_("package received, " + std::to_string(size) + " bytes");
    state_ = State::ready;
    return {200, "received\n"};
}

Reply Installer::install(const std::string& release)
{
    if (!release.starts_with(release_prefix)) {
        report_("refused to install '" + release + "'");
        return {400, "no release\n"};
    }
    if (state_ != State::ready) {
        report_("refused to install without a package");
        return {409, "no package\n"};
    }
    version_ = release.substr(release_prefix.size());
    polled_ = 0;
    state_ = State::installing;
    report_("installing version " + version_);
    return {200, "started\n"};
}

Reply Installer::status()
{
    unsigned percent = 0;
    if (state_ == State::installing) {
        polled_ = std::min(polled_ + 1, settings_.polls);
        percent = settings_.polls == 0 ? 100 : polled_ * 100 / settings_.polls;
        if (polled_ == settings_.polls) {
            state_ = State::finished;
            report_("installed, error " + std::to_string(settings_.error));
        }
    }
    const int error = finished() ? settings_.error : 0;
    return {200,
            simulated::format("{\"version\": 1, \"state\": \"%s\", \"progress\": \"%u\", \"error\": \"%d\"}\n",
                              state_name(), percent, error)};
}

const char* Installer::state_name() const noexcept
{
    switch (state_) {
        case State::idle: return "idle";
        case State::ready: return "ready";
        case State::installing: return "installing";
        case State::finished: break;
    }
    return settings_.final_state.c_str();
}

} // namespace bench::wifi
