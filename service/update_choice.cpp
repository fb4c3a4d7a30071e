#include "service/update_choice.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <unistd.h>

#include "service/update_place.h"

namespace qv::can_bus::flr {

namespace {

/// The update of this version among those that fit; the last one counts.
template <class Updates>
typename Updates::value_type find_version(const Updates& updates, const std::string& version)
{
    const auto found = std::find_if(updates.rbegin(), updates.rend(), [&version](const auto& update) {
        return update->software_version == version;
    });
    if (found == updates.rend()) {
        std::printf("No update of version [%s] found\n", version.c_str());
        return nullptr;
    }
    std::printf("%s\r\n", (*found)->path.c_str());
    return *found;
}

/// Whether another file has taken the package's place. Whether it has gone, only the upload tells.
bool is_another(const ZipParser& package)
{
    return ::access(place_of(package.path).c_str(), R_OK) == 0 && package.is_unchanged() != 0;
}

/// The node before the ECU; a node that has not told its name bears the serial number of the ECU.
std::string host_of(const Programmable_item& entry)
{
    auto host = entry.host.empty() ? "PH" + entry.serial_number : entry.host;
    return host.append(".local");
}

int choose_image(const Programmable_item& entry, const std::string& version, const Options& options,
                 std::optional<Update_choice>& choice)
{
    const auto update = find_version(entry.matches->hex_matches, version);
    if (update == nullptr) {
        return -2;
    }
    auto image = std::make_shared<HexParser>();
    if (image->parse(update->path, false) != 0) {
        std::puts("Error Parsing Bootload File\r");
        return -1;
    }
    if (image->software_version != version || image->ecu_info_text != update->ecu_info_text) {
        std::printf("%s is not what the last scan found there\n", update->path.c_str());
        return -2;
    }
    if (options.verbose > 0) {
        image->print_full();
    }
    choice = {std::move(image), nullptr, entry.node};
    return 0;
}

int choose_package(const Programmable_item& entry, const std::string& version,
                   std::optional<Update_choice>& choice)
{
    const auto update = find_version(entry.matches->zip_matches, version);
    if (update == nullptr || is_another(*update)) {
        return -2;
    }
    const auto host = host_of(entry);
    std::printf("%s: (hostname %s)\n", "startUpdate", host.c_str());
    choice = {nullptr, update->for_ecu(entry.name, host), entry.node};
    return 0;
}

} // namespace

int choose_update(const Programmable_item& entry, const std::string& version, const Options& options,
                  std::optional<Update_choice>& choice)
{
    if (!entry.matches->hex_matches.empty()) {
        return choose_image(entry, version, options, choice);
    }
    return entry.matches->zip_matches.empty() ? 0 : choose_package(entry, version, choice);
}

} // namespace qv::can_bus::flr
