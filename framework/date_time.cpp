#include "framework/date_time.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

namespace qv {

namespace {

constexpr unsigned nanosecond_digits = 9;

bool is_digit(char character) { return character >= '0' && character <= '9'; }

std::int32_t limited(std::int64_t value)
{
    return static_cast<std::int32_t>(std::min<std::int64_t>(value, std::numeric_limits<std::int32_t>::max()));
}

std::int64_t power_of_ten(unsigned exponent)
{
    std::int64_t power = 1;
    for (; exponent > 0; --exponent) {
        power *= 10;
    }
    return power;
}

/// The leading digits of a piece, as far as the type goes.
std::string_view digits_of(std::string_view piece)
{
    const auto end = std::find_if_not(piece.begin(), piece.end(), is_digit);
    return piece.substr(0, static_cast<std::size_t>(end - piece.begin()));
}

std::int32_t number(std::string_view digits)
{
    std::int64_t value = 0;
    for (const char digit : digits) {
        value = limited(value * 10 + (digit - '0'));
    }
    return static_cast<std::int32_t>(value);
}

/// Splits a text at delimiters and remembers which one ended the last piece.
class Reader {
public:
    explicit Reader(std::string_view text)
        : rest_(text)
    {}

    std::string_view piece(std::string_view delimiters)
    {
        const auto end = std::min(rest_.find_first_of(delimiters), rest_.size());
        const std::string_view result = rest_.substr(0, end);
        delimiter_ = end < rest_.size() ? rest_[end] : '\0';
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        return result;
    }

    void read(std::int32_t& field, std::string_view delimiters)
    {
        const std::string_view digits = digits_of(piece(delimiters));
        if (!digits.empty()) {
            field = number(digits);
        }
    }

    char delimiter() const noexcept { return delimiter_; }

private:
    std::string_view rest_;
    char delimiter_ = '\0';
};

/// Digits behind a decimal point, counted as nine places.
std::int32_t nanoseconds(std::string_view digits)
{
    const auto places = std::min<std::size_t>(digits.size(), nanosecond_digits);
    return limited(number(digits) * power_of_ten(nanosecond_digits - static_cast<unsigned>(places)));
}

void read_offset(Reader& reader, Date_time& value, bool negative)
{
    const std::string_view hours = digits_of(reader.piece(":_-"));
    if (hours.empty()) {
        return;
    }
    const std::string_view minutes = digits_of(reader.piece(""));
    const std::int32_t offset = limited(std::int64_t{number(hours)} * 60 + number(minutes));
    value.offset_minutes = negative ? -offset : offset;
}

std::string fraction_text(std::int32_t nanosecond, unsigned digits)
{
    const std::int64_t unit = power_of_ten(nanosecond_digits - digits);
    const std::int64_t half = nanosecond < 0 ? -unit / 2 : unit / 2;
    // A fraction that would round up to the next second stays below it.
    const std::int64_t rounded = std::min((nanosecond + half) / unit, power_of_ten(digits) - 1);
    std::array<char, 24> text;
    const int length = std::snprintf(text.data(), text.size(), ".%0*lld", static_cast<int>(digits),
                                     static_cast<long long>(rounded));
    return {text.data(), static_cast<std::size_t>(length)};
}

std::string offset_text(std::int32_t offset, char separator)
{
    const int magnitude = std::abs(offset);
    std::array<char, 32> text;
    const int length = std::snprintf(text.data(), text.size(), "%c%02d%c%02d", offset < 0 ? '-' : '+',
                                     magnitude / 60, separator, magnitude % 60);
    return {text.data(), static_cast<std::size_t>(length)};
}

std::string three_numbers(const char* format, std::int32_t first, std::int32_t second, std::int32_t third)
{
    std::array<char, 48> text;
    const int length = std::snprintf(text.data(), text.size(), format, first, second, third);
    return {text.data(), static_cast<std::size_t>(length)};
}

} // namespace

Date_time parse_date_time(std::string_view text)
{
    Date_time value;
    Reader reader(text);
    reader.read(value.year, "-");
    reader.read(value.month, "-");
    reader.read(value.day, "T_");
    reader.read(value.hour, ":_-");
    reader.read(value.minute, ":_-");
    reader.read(value.second, ".+-Z");
    if (reader.delimiter() == '.') {
        value.nanosecond = nanoseconds(digits_of(reader.piece("+-Z")));
    }
    const char delimiter = reader.delimiter();
    if (delimiter == 'Z') {
        value.offset_minutes = 0;
    }
    read_offset(reader, value, delimiter == '-');
    return value;
}

std::string date_text(const Date_time& value)
{
    return value.year == Date_time::not_set ? std::string()
                                            : three_numbers("%04d-%02d-%02d", value.year, value.month, value.day);
}

std::string time_text(const Date_time& value)
{
    return value.year == Date_time::not_set
               ? std::string()
               : three_numbers("%02d:%02d:%02d", value.hour, value.minute, value.second);
}

std::string date_time_text(const Date_time& value, unsigned fraction_digits, Date_time_separators separators)
{
    if (value.year == Date_time::not_set) {
        return {};
    }
    std::array<char, 96> moment;
    const int length =
        std::snprintf(moment.data(), moment.size(), "%04d%c%02d%c%02d%c%02d%c%02d%c%02d", value.year,
                      separators.date, value.month, separators.date, value.day, separators.date_time, value.hour,
                      separators.time, value.minute, separators.time, value.second);
    std::string text(moment.data(), static_cast<std::size_t>(length));
    if (fraction_digits > 0) {
        text += fraction_text(value.nanosecond, std::min(fraction_digits, nanosecond_digits));
    }
    if (value.offset_minutes != Date_time::not_set) {
        text += offset_text(value.offset_minutes, separators.time);
    }
    return text;
}

} // namespace qv
