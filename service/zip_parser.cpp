#include "service/zip_parser.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "service/unzip.h"

namespace qv::can_bus::flr {

namespace {

/// The next line with its line feed, or as much of it as a line may have.
std::string_view next_line(std::string_view text)
{
    const auto feed = std::min(text.find('\n'), text.size() - 1);
    return text.substr(0, std::min(feed + 1, ZipParser::line_limit));
}

/// A line up to its first NUL and without the blanks at its end; one of blanks alone stays as it is.
std::string_view trimmed(std::string_view line)
{
    line = line.substr(0, line.find('\0'));
    const auto last = line.find_last_not_of(" \n\r\t");
    return last == line.npos ? line : line.substr(0, last + 1);
}

/// Takes over the last line of a member; an empty member leaves `field` alone. 0, or what `unzip` failed with.
int read_line(const Zip_archive& archive, const char* member, std::string& field)
{
    const auto [status, bytes] = archive.extract(member);
    for (std::string_view rest = bytes; !rest.empty();) {
        const auto line = next_line(rest);
        field = trimmed(line);
        rest.remove_prefix(line.size());
    }
    return status;
}

} // namespace

int ZipParser::parse(const std::string& file_path, bool /*header_only*/)
{
    if (!examine(file_path)) {
        return -1;
    }
    software_version = "Missing";
    const Zip_archive archive(path);
    if (const int status = read_line(archive, "version", software_version); status != 0) {
        return status;
    }
    if (const int status = read_line(archive, "ecuinfo", ecu_info_text); status != 0) {
        return status;
    }
    parse_ecu_info(ecu_info_text);
    return 0;
}

void ZipParser::print_brief() const { print_full(); }

void ZipParser::print_full() const
{
    std::puts("\r\n----------Zip Information----------\r");
    std::printf("SoftwareVersion: %s\r\n", software_version.c_str());
    std::puts("\r\n\r");
}

std::unique_ptr<ZipParser> ZipParser::for_ecu(std::uint64_t name, const std::string& host) const
{
    std::unique_ptr<ZipParser> copy(new ZipParser(*this));
    copy->target_name = name;
    copy->target_host = host;
    return copy;
}

} // namespace qv::can_bus::flr
