#include "service/wifi/transfer_record.h"

#include <cstdio>

#include <curl/curl.h>

namespace qv::can_bus::flr {

namespace {

constexpr double report_interval = 1.0; // seconds
constexpr std::uint32_t stalls_allowed = 10;

} // namespace

bool Transfer_record::report_is_due(double transfer_time) noexcept
{
    if (transfer_time - last_time < report_interval) {
        return false;
    }
    last_time = transfer_time;
    return true;
}

bool Transfer_record::count(std::uint64_t total, std::uint64_t sent) noexcept
{
    const bool stalled = sent != total && sent == bytes_sent;
    stall_count = stalled ? stall_count + 1 : 0;
    bytes_sent = sent;
    if (total != 0) {
        progress = static_cast<std::int32_t>(sent * 100 / total);
    }
    return stall_count <= stalls_allowed;
}

int curl_xfer_update(void* record, long long download_total, long long download_now, long long upload_total,
                     long long upload_now)
{
    auto& transfer = *static_cast<Transfer_record*>(record);
    if (transfer.cancelled) {
        return 1;
    }
    double seconds = 0;
    if (transfer.curl == nullptr || curl_easy_getinfo(transfer.curl, CURLINFO_TOTAL_TIME, &seconds) != CURLE_OK ||
        !transfer.report_is_due(seconds)) {
        return 0;
    }
    const bool goes_on =
        transfer.count(static_cast<std::uint64_t>(upload_total), static_cast<std::uint64_t>(upload_now));
    if (!goes_on) {
        std::puts("no bytes transferred in 10 intervals, aborting");
    }
    std::printf("Transferred %lld bytes (%d%%)\r\n", upload_now, transfer.progress.load());
    std::fprintf(stderr, "UP: %lld of %lld  DOWN: %lld of %lld\r\n", upload_now, upload_total, download_now,
                 download_total);
    return goes_on ? 0 : 1;
}

} // namespace qv::can_bus::flr
