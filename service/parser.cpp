#include "service/parser.h"

#include <cstdio>

#include <unistd.h>

#include "service/update_place.h"

namespace qv::can_bus::flr {

Parser::~Parser() = default;

void Parser::parse_ecu_info(const std::string& text) { ecu_info = parse_ecu_info_text(text); }

int Parser::matches(std::uint64_t name, const char* part_number) const
{
    if (!fits(ecu_info, name, part_number)) {
        return -1;
    }
    std::puts("Match found!\r");
    return 0;
}

int Parser::is_unchanged() const
{
    const auto place = place_of(path);
    if (::access(place.c_str(), R_OK) != 0) {
        std::printf("File removed %s\n\r", path.c_str());
        return -1;
    }
    struct stat now = {};
    if (::stat(place.c_str(), &now) != 0) {
        std::printf("Stat failure %s\r\n", path.c_str());
        return -1;
    }
    if (now.st_size != file_stat.st_size) {
        std::printf("File Size changed %s\r\n", path.c_str());
        return -1;
    }
    if (now.st_mtime != file_stat.st_mtime) {
        std::printf("File Modified date changed %s\r\n", path.c_str());
        return -1;
    }
    return 0;
}

bool Parser::examine(const std::string& file_path)
{
    const auto place = place_of(file_path);
    if (::access(place.c_str(), R_OK) != 0) {
        std::puts("Unable To Find Bootload File\n\r");
        return false;
    }
    path = file_path;
    if (::stat(place.c_str(), &file_stat) != 0) {
        std::puts("Stat failure\r");
        return false;
    }
    if (!S_ISREG(file_stat.st_mode)) { // a directory, or a device that never ends
        std::puts("Unable To Find Bootload File\n\r");
        return false;
    }
    return true;
}

} // namespace qv::can_bus::flr
