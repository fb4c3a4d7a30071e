#include "framework/date.h"

#include <array>
#include <cstdio>
#include <limits>

namespace qv {

namespace {

bool from_calendar(Date& date, const std::tm* calendar)
{
    constexpr int epoch_year = 1900;
    if (calendar == nullptr || calendar->tm_year < -epoch_year ||
        calendar->tm_year > std::numeric_limits<std::uint16_t>::max() - epoch_year) {
        return false;
    }
    date.day = static_cast<std::uint8_t>(calendar->tm_mday);
    date.hour = static_cast<std::uint8_t>(calendar->tm_hour);
    date.minute = static_cast<std::uint8_t>(calendar->tm_min);
    date.month = static_cast<std::uint8_t>(calendar->tm_mon + 1);
    date.second = static_cast<std::uint8_t>(calendar->tm_sec);
    date.year = static_cast<std::uint16_t>(calendar->tm_year + epoch_year);
    return true;
}

std::time_t to_seconds(const Date& date)
{
    std::tm calendar{};
    calendar.tm_mday = date.day;
    calendar.tm_hour = date.hour;
    calendar.tm_min = date.minute;
    calendar.tm_mon = date.month - 1;
    calendar.tm_sec = date.second;
    calendar.tm_year = date.year - 1900;
    calendar.tm_isdst = 0;
    return std::mktime(&calendar);
}

} // namespace

bool from_local(Date& date, std::time_t seconds)
{
    std::tm calendar{};
    return from_calendar(date, ::localtime_r(&seconds, &calendar));
}

bool from_utc(Date& date, std::time_t seconds)
{
    std::tm calendar{};
    return from_calendar(date, ::gmtime_r(&seconds, &calendar));
}

std::time_t seconds_between(const Date& earlier, const Date& later)
{
    const std::time_t first = to_seconds(earlier);
    const std::time_t second = to_seconds(later);
    return first < second ? second - first : 0;
}

std::string date_file_text(const Date& date)
{
    std::array<char, 32> text;
    const int length = std::snprintf(text.data(), text.size(), "%04d_%02d_%02d__%02d_%02d_%02d", date.year,
                                     date.month, date.day, date.hour, date.minute, date.second);
    return {text.data(), static_cast<std::size_t>(length)};
}

} // namespace qv
