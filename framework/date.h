#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace qv {

/// A calendar moment. `month` counts from 1 and `year` is the full year.
class Date {
public:
    Date() = default;
    Date(const Date&) = default;
    Date& operator=(const Date&) = default;
    virtual ~Date() = default;

    std::uint8_t day = 0;
    std::uint8_t hour = 0;
    std::uint8_t minute = 0;
    std::uint8_t month = 0;
    std::uint8_t second = 0;
    std::uint16_t year = 0;
};

/// The moment `seconds` after the epoch, in local time or UTC. False, with `date` as it was, when the calendar has
/// no such year.
[[nodiscard]] bool from_local(Date& date, std::time_t seconds);
[[nodiscard]] bool from_utc(Date& date, std::time_t seconds);

/// Seconds from `earlier` to `later`, without daylight saving; 0 unless `earlier` comes first.
std::time_t seconds_between(const Date& earlier, const Date& later);

/// "2014_05_06__07_08_09"
std::string date_file_text(const Date& date);

} // namespace qv
