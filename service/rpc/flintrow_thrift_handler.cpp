#include "service/rpc/flintrow_thrift_handler.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <mutex>

#include "framework/string/code_page.h"
#include "framework/string/text.h"

namespace qv::can_bus::flr {

namespace {

using ::flintrow::eStates;

eStates::type reported(State state)
{
    switch (state) {
        case State::BL_START: return eStates::BL_START;
        case State::BL_BOOTLOADER_PENDING: return eStates::BL_BOOTLOADER_PENDING;
        case State::BL_BOOTLOADER: return eStates::BL_BOOTLOADER;
        case State::BL_PARSING: return eStates::BL_PARSING;
        case State::BL_ERASING: return eStates::BL_ERASING;
        case State::BL_PROGRAMMING: return eStates::BL_PROGRAMMING;
        case State::BL_RESTART: return eStates::BL_RESTART;
        case State::BL_READ_CHECKSUM: return eStates::BL_READ_CHECKSUM;
        case State::BL_COMPLETE: return eStates::BL_COMPLETE;
        case State::BL_FAILURE: return eStates::BL_FAILURE;
        case State::BL_COMPLETE_ACK: return eStates::BL_COMPLETE_ACK;
        case State::BL_RESTART_PENDING: return eStates::BL_RESTART_PENDING;
        case State::BL_TRANSFERRING: return eStates::BL_TRANSFERRING;
        case State::BL_IDLE:
        case State::BL_BAUD_REQUEST:
        case State::BL_BAUD_PENDING:
        case State::BL_BAUD_LOCAL:
        case State::BL_BAUD_SETTLE:
        case State::BL_TARGET_SEARCH: break;
    }
    return eStates::BL_IDLE;
}

std::int32_t percent(const Session& session)
{
    const std::uint64_t total =
        session.progress_total; // first: the session sets it behind a new `progress_current`
    const std::uint64_t current = session.progress_current;
    return total == 0 ? 0 : static_cast<std::int32_t>(current * 100 / total);
}

/// The visible entry of that NAME, or empty.
Inventory::Entry find(const Flintrow& flintrow, std::int64_t name)
{
    for (auto& entry : flintrow.inventory.visible_entries()) {
        if (entry->name == static_cast<name::Name>(name)) {
            return std::move(entry);
        }
    }
    return nullptr;
}

std::int32_t start(Flintrow& flintrow, const Programmable_item& entry, const std::string& version)
{
    return flintrow.session.start_update(entry, version) == 0 ? FlintrowThriftHandler::done
                                                              : FlintrowThriftHandler::no_update;
}

std::int32_t tell_no_file()
{
    std::puts("No hex file found for selection\r");
    return FlintrowThriftHandler::no_update;
}

/// Texts from the bus and from files are UTF-8 or, by their standards, ISO 8859-1; callers get UTF-8.
std::string utf_8(std::string text)
{
    if (string::is_well_formed_utf_8(text)) {
        return text;
    }
    std::replace_if(
        text.begin(), text.end(), [](char character) { return (character & 0xE0) == 0x80; }, '?');
    return string::latin_1_to_utf_8(text);
}

/// The version as its file has it, by the text that callers get of it.
std::string own_version(const Matches& matches, const std::string& told)
{
    const auto search = [&told](const auto& updates) -> const std::string* {
        const auto found = std::find_if(updates.begin(), updates.end(), [&told](const auto& update) {
            return utf_8(update->software_version) == told;
        });
        return found == updates.end() ? nullptr : &(*found)->software_version;
    };
    const auto* image = search(matches.hex_matches);
    const auto* version = image == nullptr ? search(matches.zip_matches) : image;
    return version == nullptr ? told : *version;
}

::flintrow::ecuInfo info_of(const Programmable_item& entry)
{
    ::flintrow::ecuInfo info;
    info.CANAddress = entry.address;
    info.CANName = static_cast<std::int64_t>(entry.name);
    info.__set_sECUName(utf_8(entry.title));
    info.__set_sCurrentVersion(utf_8(entry.current_version));
    info.__set_sUpdateVersion(utf_8(entry.update_version));
    std::vector<std::string> versions;
    for (const auto& image : entry.matches->hex_matches) {
        versions.push_back(utf_8(image->software_version));
    }
    for (const auto& package : entry.matches->zip_matches) {
        versions.push_back(utf_8(package->software_version));
    }
    info.__set_stUpdateVersions(versions);
    return info;
}

::flintrow::ecuSoftwareID software_id_of(const Software_id& id)
{
    ::flintrow::ecuSoftwareID result;
    result.__set_SSL(utf_8(id.label));
    result.__set_SPN(utf_8(id.part_number));
    result.__set_SV(utf_8(id.version));
    return result;
}

} // namespace

/// A stay inside the service. Empty when there is none.
class FlintrowThriftHandler::Call {
public:
    explicit Call(FlintrowThriftHandler& handler)
        : lock_(handler.mutex_, std::defer_lock)
    {
        if (handler.flintrow_ != nullptr) {
            lock_.lock();
            flintrow_ = handler.flintrow_;
        }
    }

    explicit operator bool() const noexcept { return flintrow_ != nullptr; }
    Flintrow& operator*() const noexcept { return *flintrow_; }
    Flintrow* operator->() const noexcept { return flintrow_; }
    bool is_idle() const noexcept { return flintrow_->session.state == State::BL_IDLE; }

private:
    std::shared_lock<std::shared_mutex> lock_;
    Flintrow* flintrow_ = nullptr;
};

void FlintrowThriftHandler::attach(Flintrow& flintrow) { flintrow_ = &flintrow; }

void FlintrowThriftHandler::detach()
{
    flintrow_ = nullptr; // nobody enters any more
    const std::lock_guard until_all_have_left(mutex_);
}

void FlintrowThriftHandler::GetStatus(::flintrow::stInfo& result)
{
    result.state = eStates::BL_IDLE;
    const Call service(*this);
    if (!service) {
        return;
    }
    const Session& session = service->session;
    result.state = reported(session.state);
    result.__set_progress(percent(session));
    if (result.state == eStates::BL_COMPLETE) {
        result.__set_error(0);
    } else if (result.state == eStates::BL_FAILURE) {
        const std::uint32_t code = session.error_code;
        result.__set_error(static_cast<std::int32_t>(code == 0 ? failure::other : code));
    }
}

std::int32_t FlintrowThriftHandler::UpdateECU(std::int64_t name)
{
    return update(name, [](const Programmable_item& entry) {
        const bool has_image = !entry.matches->hex_matches.empty(); // a package alone does not count here
        return has_image ? std::optional(entry.update_version) : std::nullopt;
    });
}

std::int32_t FlintrowThriftHandler::UpdateECUVersion(std::int64_t name, const std::string& version)
{
    return update(name, [&version](const Programmable_item& entry) {
        return entry.matches->empty() ? std::nullopt : std::optional(own_version(*entry.matches, version));
    });
}

std::int32_t FlintrowThriftHandler::update(std::int64_t name, const Choose_version& choose)
{
    const Call service(*this);
    if (service && !service.is_idle()) {
        return busy;
    }
    const auto entry = service ? find(*service, name) : nullptr;
    if (entry == nullptr) {
        return no_ecu;
    }
    const auto version = choose(*entry);
    return version ? start(*service, *entry, *version) : tell_no_file();
}

std::int32_t FlintrowThriftHandler::UpdateComplete()
{
    const Call service(*this);
    return service ? service->session.acknowledge_result() : done;
}

std::int32_t FlintrowThriftHandler::ScanDirectory(const std::string& path)
{
    const Call service(*this);
    if (!service) {
        return done;
    }
    if (!service.is_idle()) {
        std::puts("Error: Unable to scan while bootload is in progress\r");
        return busy;
    }
    std::printf("Scanning directory: %s\n", path.c_str());
    return service->catalogue.scan_directory(path);
}

void FlintrowThriftHandler::ListDirectories(std::vector<std::string>& result)
{
    if (const Call service(*this); service) {
        const auto contents = service->catalogue.contents();
        std::transform(contents->directories.begin(), contents->directories.end(), std::back_inserter(result),
                       utf_8);
    }
}

std::int32_t FlintrowThriftHandler::ClearECUList()
{
    const Call service(*this);
    if (!service) {
        return done;
    }
    return service.is_idle() ? service->clear_ecu_list() : busy;
}

void FlintrowThriftHandler::GetECUList(std::vector<::flintrow::ecuInfo>& result)
{
    const Call service(*this);
    if (!service) {
        return;
    }
    service->inventory.refresh_ecu_strings();
    for (const auto& entry : service->inventory.visible_entries()) {
        result.push_back(info_of(*entry));
    }
}

void FlintrowThriftHandler::GetECUSoftwareIDs(std::vector<::flintrow::ecuSoftwareID>& result, std::int64_t name)
{
    const Call service(*this);
    if (const auto entry = service ? find(*service, name) : nullptr) {
        for (std::size_t index = 0; index < entry->software_id_count; ++index) {
            result.push_back(software_id_of(entry->software_ids[index]));
        }
    }
}

void FlintrowThriftHandler::GetECUID(::flintrow::ecuID& result, std::int64_t name)
{
    const Call service(*this);
    if (const auto entry = service ? find(*service, name) : nullptr) {
        result.__set_PN(utf_8(entry->part_number));
        result.__set_Rev(utf_8(entry->revision));
        result.__set_SN(utf_8(entry->serial_number));
        result.__set_Location(utf_8(entry->location));
        result.__set_Type(utf_8(entry->type));
        result.__set_Manuf(utf_8(entry->manufacturer));
    }
}

std::int32_t FlintrowThriftHandler::Shutdown()
{
    const Call service(*this);
    if (service && service->session.close()) {
        service->end_process(0);
    }
    return service ? busy : done;
}

} // namespace qv::can_bus::flr
