#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace qv::can_bus::flr {

/// What the workers need to know of an update package and of the node that it is for.
struct Package {
    std::string path;        ///< as it is told
    std::string place;       ///< where it is opened
    std::string version;     ///< as the package tells it
    std::string target_host; ///< the node's host name, ends in ".local"
};

/// What `Transfer_record::error` says after a worker's end. An installation that the node itself reports as failed
/// leaves the node's own number.
namespace transfer_error {
inline constexpr std::int32_t none = 0;
inline constexpr std::int32_t connection = 30;   ///< upload: refused, or lost on the way
inline constexpr std::int32_t file_status = 31;  ///< upload: the file's status can't be read
inline constexpr std::int32_t file_open = 32;    ///< upload: the file can't be opened
inline constexpr std::int32_t no_package = 33;   ///< upload: there is nothing to send
inline constexpr std::int32_t upload = 34;       ///< upload: any other failure, or a status other than 200
inline constexpr std::int32_t install = 35;      ///< the node was not asked, or no memory for its reply
inline constexpr std::int32_t host_unknown = 36; ///< upload: the node's name has no address
} // namespace transfer_error

/// What one worker and the bus thread share; a new one for each worker.
///
/// Threads: the worker writes it, the bus thread reads the atomic members while the worker runs, and anything
/// after it has joined the worker. The session owns the record, and sets `package` before the worker starts.
struct Transfer_record {
    void* curl = nullptr;                     ///< libcurl's handle of the upload, while it runs
    double last_time = 0;                     ///< seconds of transfer at the last report
    std::optional<Package> package;           ///< a copy: a scan may drop the package meanwhile
    std::atomic<std::uint64_t> bytes_sent{0}; ///< as of the last report
    std::atomic<std::int32_t> progress{0};    ///< percent, 0 to 100
    std::atomic<std::int32_t> error{transfer_error::none};
    std::atomic<bool> cancelled{false}; ///< set by the session, which then waits for the worker's end
    std::uint32_t stall_count = 0;      ///< reports in a row without a new byte

    /// True when a second or more of transfer has passed since the last report; this is the next one then.
    [[nodiscard]] bool report_is_due(double transfer_time) noexcept;
    /// Takes a report's count of bytes in. False when the node has stopped reading: the eleventh report in a row
    /// without a new byte. With all bytes sent the node may take its time.
    [[nodiscard]] bool count(std::uint64_t total, std::uint64_t sent) noexcept;
};

/// libcurl's transfer callback of an upload: the record, then bytes to receive, received, to send, sent. 1 aborts
/// the transfer, also when it was cancelled. Reports the progress once a second, to the record and to the
/// terminal.
int curl_xfer_update(void* record, long long download_total, long long download_now, long long upload_total,
                     long long upload_now);

} // namespace qv::can_bus::flr
