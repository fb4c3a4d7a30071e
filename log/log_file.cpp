#include "log/log_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "framework/date.h"
#include "framework/date_time.h"
#include "framework/file/file_crt.h"
#include "framework/file/operations.h"
#include "framework/file/path_text.h"
#include "framework/file/properties.h"
#include "framework/string/string.h"
#include "framework/thread/clock.h"
#include "log/directory.h"

namespace qv::log {

namespace {

/// What a line needs besides its text.
constexpr std::size_t line_overhead = 64;

/// The moment in UTC; without a year when the calendar has none.
Date_time utc(std::time_t seconds)
{
    Date_time moment;
    Date date;
    if (from_utc(date, seconds)) {
        moment.year = date.year;
        moment.month = date.month;
        moment.day = date.day;
        moment.hour = date.hour;
        moment.minute = date.minute;
        moment.second = date.second;
    }
    return moment;
}

/// A name that has neither blanks nor a way out of the directory.
std::string file_name_of(std::string name)
{
    std::replace(name.begin(), name.end(), ' ', '_');
    std::replace(name.begin(), name.end(), '/', '_');
    return name;
}

bool breaks_a_line(char character) { return static_cast<unsigned char>(character) < ' ' && character != '\t'; }

std::string_view bytes_of(const string::Utf_8_string& text)
{
    return {reinterpret_cast<const char*>(text.units()), text.size()};
}

} // namespace

Log_file::Log_file(std::string application_name, const qv::Version& version, std::string directory)
    : application_name_(std::move(application_name))
    , version_(version)
    , directory_(std::move(directory))
{}

/// What bears the name of the new file is removed, not opened: it may be a link or a pipe.
bool Log_file::open()
{
    if (open_tried_) {
        return file_ != nullptr;
    }
    open_tried_ = true;
    file_name_ =
        file_name_of(application_name_ + "_") + date_time_text(utc(time::adjusted_time()), 0, {'_', '-', '-'});
    make_directory();
    const std::string path = directory_ + file_name_ + file_name::extension;
    file::remove(path);
    file_ = file::open(path, file::mode::write);
    if (file_ == nullptr) {
        return false;
    }
    replace_link();
    write_header();
    return true;
}

void Log_file::make_directory() const
{
    std::string path = directory_;
    file::strip_character(path, '/');
    if (!file::Properties(path).is_valid()) {
        file::mkdir(path);
    }
}

void Log_file::replace_link() const
{
    const std::string link = directory_ + file_name_of(application_name_) + file_name::extension;
    file::remove(link);
    file::symlink(file_name_ + file_name::extension, link);
}

void Log_file::write_header()
{
    const std::string header = string::bom::utf_8 + application_name_ + ' ' + version_text(version_) + " - " +
                               file_name_ + file_name::extension + "\n\ntime                  lvl   id  text\n";
    file_->write(header.data(), 1, header.size());
}

void Log_file::write(const Item& item)
{
    std::array<char, line_overhead> start;
    const int length = std::snprintf(start.data(), start.size(), "%06u.%03u  %s  %3u  %3u  ", item.clock / 1000,
                                     item.clock % 1000, time_of_day(item.time).c_str(), item.level, item.client);
    write_line({start.data(), static_cast<std::size_t>(length)}, bytes_of(item.text), "\n");
}

void Log_file::write_client(Client number, const std::string& name)
{
    write_line("client " + std::to_string(number) + " '", name, "'\n");
}

void Log_file::flush() { file_->flush(); }

/// Texts from the bus or from a file must not look like lines of their own.
void Log_file::write_line(std::string_view start, std::string_view text, std::string_view end)
{
    line_.clear();
    line_.append(start).append(text);
    std::replace_if(line_.begin(), line_.end(), breaks_a_line, '.');
    line_.append(end);
    file_->write(line_.data(), 1, line_.size());
}

/// "07:08:09" in UTC, empty when the calendar has no such moment. Most lines share their second with the one
/// before.
const std::string& Log_file::time_of_day(std::time_t time)
{
    if (time != last_time_ || last_time_of_day_.empty()) {
        last_time_ = time;
        last_time_of_day_ = time_text(utc(time));
    }
    return last_time_of_day_;
}

} // namespace qv::log
