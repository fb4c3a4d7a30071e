#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>

#include "framework/file/interface.h"
#include "framework/version.h"
#include "log/item.h"

namespace qv::log {

/// The file of one run, and the symbolic link beside it that points to the newest run's file.
///
/// The text is UTF-8: a byte order mark and a header, then a line for each item, at last one for each client. A
/// file that cannot be made or written to costs the log and nothing else.
///
/// Thread: one at a time.
class Log_file {
public:
    /// `directory` has a "/" at its end unless it is empty, which is the working directory. A path that does not
    /// begin with "/" starts there as well; the user gives it, so that it is taken as it is.
    Log_file(std::string application_name, const qv::Version& version, std::string directory);

    /// Makes the file, and the last component of its directory, the first time it is called. True when there is a
    /// file.
    bool open();
    /// These need an open file.
    void write(const Item& item);
    void write_client(Client number, const std::string& name);
    void flush();

    const std::string& directory() const noexcept { return directory_; }

private:
    void make_directory() const;
    void replace_link() const;
    void write_header();
    void write_line(std::string_view start, std::string_view text, std::string_view end);
    const std::string& time_of_day(std::time_t time);

    std::string application_name_;
    qv::Version version_;
    std::string directory_;
    std::unique_ptr<file::Interface> file_; ///< absent until the first `open`, and when that failed
    std::string file_name_;                 ///< without directory and extension
    bool open_tried_ = false;
    std::string line_; ///< kept for its memory
    std::time_t last_time_ = 0;
    std::string last_time_of_day_; ///< the text of `last_time_`; empty before the first
};

} // namespace qv::log
