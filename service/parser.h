#pragma once

#include <cstdint>
#include <string>

#include <sys/stat.h>

#include "service/ecu_info.h"

namespace qv::can_bus::flr {

/// An update file, read in one of two depths: only what describes it, or with its data.
///
/// Thread: whichever owns it while it is being made. Once the catalogue holds it, it is shared and does not change
/// any more; every thread may then use what is const.
class Parser {
public:
    Parser() = default;
    Parser& operator=(const Parser&) = delete;
    virtual ~Parser();

    /// Reads the file at `file_path`. 0 when it is an update file of this kind. After a failure the parser is
    /// of no further use. Reasons for a failure go to standard output where there are words for them.
    virtual int parse(const std::string& file_path, bool header_only) = 0;
    /// Prints what the file is for.
    virtual void print_brief() const = 0;
    /// Prints that and what it holds.
    virtual void print_full() const = 0;

    /// Builds `ecu_info` from the plain text.
    void parse_ecu_info(const std::string& text);
    /// 0 when the file fits the ECU with this NAME and part number (which may be null), else -1.
    int matches(std::uint64_t name, const char* part_number) const;
    /// 0 when the file still is what was read, by its size and the second of its last change; -1 after printing
    /// what differs.
    int is_unchanged() const;

    std::string software_version; ///< "Missing" until the file gives one
    std::string path;
    std::string ecu_info_text;
    Ecu_info ecu_info;          ///< empty when the file has none; it then fits no ECU
    struct stat file_stat = {}; ///< size and time of change when it was read

protected:
    Parser(const Parser&) = default;

    /// The first steps of every kind: access, `path`, `file_stat`. Only a regular file is read. False after
    /// printing why not.
    [[nodiscard]] bool examine(const std::string& file_path);
};

} // namespace qv::can_bus::flr
