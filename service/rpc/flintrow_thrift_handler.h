#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <shared_mutex>
#include <string>
#include <vector>

#include <FlintrowThrift.h>

#include "service/flintrow.h"

namespace qv::can_bus::flr {

/// What the user interface asks of the service, call by call. While there is no service, before it is attached and
/// after it has gone, the calls answer as for a service that knows no ECU and no file.
///
/// An ECU is named by its 64-bit NAME [ISO 11783-5 4.3], which the interface calls its address.
///
/// Thread: any, several at once.
class FlintrowThriftHandler final : public ::flintrow::FlintrowThriftIf {
public:
    /// Results of the calls that start or change something.
    static constexpr std::int32_t done = 0;
    static constexpr std::int32_t busy = -1;      ///< a session runs
    static constexpr std::int32_t no_update = -2; ///< no update for the ECU, or it could not start
    static constexpr std::int32_t no_ecu = -3;    ///< no such ECU in sight

    /// The calls reach `flintrow` from now on.
    void attach(Flintrow& flintrow);
    /// Returns when no call is inside the service any more.
    void detach();

    void GetStatus(::flintrow::stInfo& result) override;
    std::int32_t UpdateECU(std::int64_t name) override;
    std::int32_t UpdateECUVersion(std::int64_t name, const std::string& version) override;
    std::int32_t UpdateComplete() override;
    std::int32_t ScanDirectory(const std::string& path) override;
    void ListDirectories(std::vector<std::string>& result) override;
    std::int32_t ClearECUList() override;
    void GetECUList(std::vector<::flintrow::ecuInfo>& result) override;
    void GetECUSoftwareIDs(std::vector<::flintrow::ecuSoftwareID>& result, std::int64_t name) override;
    void GetECUID(::flintrow::ecuID& result, std::int64_t name) override;
    /// Ends the process at once unless a session runs; the caller gets no reply.
    std::int32_t Shutdown() override;

private:
    class Call;
    /// The version that an ECU is to get; nothing when no file is there for it.
    using Choose_version = std::function<std::optional<std::string>(const Programmable_item&)>;

    std::int32_t update(std::int64_t name, const Choose_version& choose);

    std::shared_mutex mutex_;                  ///< shared by the calls inside
    std::atomic<Flintrow*> flintrow_{nullptr}; ///< null while there is none; set to null before `mutex_` is taken
};

} // namespace qv::can_bus::flr
