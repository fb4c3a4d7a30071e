#include "platform/dekstop_system.h"

#include <utility>

#include <sys/stat.h>

#include "framework/file/root.h"
#include "platform/sources.h"

namespace qv::platform {

namespace {

std::optional<std::int64_t> modification(const std::string& path)
{
    struct stat status = {};
    if (::stat(file::rooted(path).c_str(), &status) != 0) {
        return std::nullopt;
    }
    return std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec;
}

} // namespace

dekstop_system::dekstop_system()
{
    dekstop_system::read_gps();
    dekstop_system::read_uuid();
    dekstop_system::read_assembly();
    dekstop_system::read_software();
    dekstop_system::read_hardware();
}

void dekstop_system::reload(Stamp& stamp, std::initializer_list<Entry> entries)
{
    const std::string path = desktop_file();
    const Stamp now = modification(path);
    if (!now || now == stamp) {
        return;
    }
    stamp = now;
    const Json file = load_json(path);
    for (const Entry& entry : entries) {
        if (auto text = json_text(file, entry.key)) {
            *entry.field = std::move(*text);
        }
    }
}

void dekstop_system::read_gps()
{
    reload(gps_stamp_, {{"gpsType", &gps_.type},
                        {"gpsModel", &gps_.model},
                        {"gpsSerial", &gps_.serial},
                        {"gpsPac", &gps_.hardware_revision}});
}

void dekstop_system::read_uuid() { reload(uuid_stamp_, {{"uuid", &uuid_}}); }

void dekstop_system::read_assembly()
{
    reload(assembly_stamp_, {{"assemblySN", &assembly_serial_}, {"assemblyPN", &assembly_part_number_}});
}

void dekstop_system::read_software()
{
    reload(software_stamp_, {{"softwareVersion", &software_version_}, {"softwarePN", &software_part_number_}});
}

void dekstop_system::read_hardware()
{
    reload(hardware_stamp_, {{"hardwareVersion", &hardware_version_},
                             {"defaultServerA", &default_servers_[0].address},
                             {"defaultPortA", &default_servers_[0].port},
                             {"defaultServerB", &default_servers_[1].address},
                             {"defaultPortB", &default_servers_[1].port}});
}

} // namespace qv::platform
