#include "service/wifi/install_handler.h"

#include <algorithm>
#include <cstdio>

#include "framework/thread/pause.h"
#include "service/wifi/install_status.h"
#include "service/wifi/request.h"
#include "service/wifi/transfer_record.h"

namespace qv::can_bus::flr {

namespace {

using namespace std::chrono_literals;

constexpr auto poll_pause = 2s;
constexpr auto install_silence = 10min; // a node may unpack the whole package before it answers
constexpr auto status_silence = 60s;
constexpr long redirects_maximum = 5;

[[nodiscard]] bool perform(Request& request)
{
    std::printf("URL: %s\r\n", request.url().c_str());
    const CURLcode code = request.perform();
    if (code != CURLE_OK) {
        std::printf("curl_easy_perform() failed: %s\n", curl_easy_strerror(code));
    }
    return code == CURLE_OK;
}

[[nodiscard]] bool request_install(const Transfer_record& record)
{
    Request request(record.package->target_host, "/update", install_silence);
    request.cancel_by(record.cancelled);
    const std::string fields = "softwarereleaseid=local%2C" + record.package->version;
    request.set("CURLOPT_POSTFIELDS", CURLOPT_POSTFIELDS, fields.c_str());
    return perform(request) && request.succeeded();
}

/// Takes over what a status says.
void update(Transfer_record& record, const Install_status& status)
{
    record.error = decimal_value(status.error);
    record.progress = std::clamp(decimal_value(status.progress), 0, 100);
}

/// Asks how the installation stands. True when it is over.
[[nodiscard]] bool poll(Transfer_record& record)
{
    Request request(record.package->target_host, "/update/status_json", status_silence);
    request.cancel_by(record.cancelled);
    request.set("CURLOPT_FOLLOWLOCATION", CURLOPT_FOLLOWLOCATION, 1L);
    request.set("CURLOPT_MAXREDIRS", CURLOPT_MAXREDIRS, redirects_maximum);
    request.set("CURLOPT_REDIR_PROTOCOLS_STR", CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    (void)perform(request);
    if (request.reply() == nullptr) {
        record.error = transfer_error::install;
        return false;
    }
    const auto status = parse_install_status(request.reply());
    if (!status) {
        return false;
    }
    update(record, *status);
    return status->is_final();
}

} // namespace

void* InstallHandler(void* record)
{
    auto& transfer = *static_cast<Transfer_record*>(record);
    if (!transfer.package || !request_install(transfer)) {
        transfer.error = transfer_error::install;
        return record;
    }
    while (!poll(transfer) && !transfer.cancelled) {
        thread::pause(poll_pause, transfer.cancelled);
    }
    return record;
}

} // namespace qv::can_bus::flr
