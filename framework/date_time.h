#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace qv {

/// A moment broken down, with its distance from UTC when that is known.
struct Date_time {
    static constexpr std::int32_t not_set = std::numeric_limits<std::int32_t>::min();

    std::int32_t year = not_set;
    std::int32_t month = 1;
    std::int32_t day = 1;
    std::int32_t hour = 0;
    std::int32_t minute = 0;
    std::int32_t second = 0;
    std::int32_t nanosecond = 0;
    std::int32_t offset_minutes = not_set; ///< local time minus UTC
};

/// Reads "2014-05-06T07:08:09.5+01:30" and the forms with "_" and "-" between the parts that file names have. A
/// part that does not begin with a digit keeps its default; nothing is tested against the calendar.
Date_time parse_date_time(std::string_view text);

/// "2014-05-06"; all of these are empty when the year is not set.
std::string date_text(const Date_time& value);
/// "07:08:09"
std::string time_text(const Date_time& value);

/// The characters between the parts of a moment.
struct Date_time_separators {
    char date_time = 'T';
    char date = '-';
    char time = ':'; ///< also within the offset
};

/// "2014-05-06T07:08:09", then "." and `fraction_digits` (at most 9) digits when that is above 0, then "+01:30"
/// when the offset is set.
std::string date_time_text(const Date_time& value, unsigned fraction_digits, Date_time_separators separators = {});

} // namespace qv
