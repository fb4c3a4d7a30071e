#include "service/inventory.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "service/text.h"
#include "service/version_order.h"

namespace qv::can_bus::flr {

namespace {

/// Whether the ECU of that entry now has another address. What is told from the entry's is told by somebody else,
/// and would let a file that fits him reach the ECU of the entry.
bool has_moved(const Programmable_item& entry)
{
    return node::has_address(entry.node) &&
           entry.node->source_address != static_cast<std::uint32_t>(entry.address);
}

/// Whether an ECU has filled a field of its identification.
bool is_told(const std::string& text) { return !text.empty() && text != "-"; }

void print_added(const Programmable_item& entry)
{
    std::printf("Adding [%d:0x%16" PRIx64 "] %s:%s:%s\r\n", entry.address, entry.name, entry.title.c_str(),
                entry.current_version.c_str(), entry.update_version.c_str());
    std::fflush(stdout);
}

/// The newest of the versions, empty without any. The order of version texts is no strict order (the same
/// tail behind two prefixes), so that they are not sorted.
std::string newest(const std::vector<std::string>& versions)
{
    const auto first = std::min_element(versions.begin(), versions.end(), newer);
    return first == versions.end() ? std::string() : *first;
}

auto stands_at(std::uint32_t address)
{
    return
        [address](const Inventory::Entry& entry) { return entry->address == static_cast<std::int32_t>(address); };
}

/// What an ECU tells of itself has a few hundred bytes; a longer text is cut.
constexpr std::size_t text_limit = 8192;

std::span<const std::uint8_t> cut(std::span<const std::uint8_t> bytes)
{
    return bytes.first(std::min(bytes.size(), text_limit));
}

} // namespace

/// Changes a copy of the entry and puts it in the entry's place. False without one.
template <class Change> bool Inventory::change(std::uint32_t address, Change change)
{
    const std::lock_guard lock(mutex_);
    const auto place = std::find_if(ecu_list_.begin(), ecu_list_.end(), stands_at(address));
    if (place == ecu_list_.end()) {
        return false;
    }
    const auto changed = std::make_shared<Programmable_item>(**place);
    change(*changed);
    *place = changed;
    return true;
}

int Inventory::ecu_address_claimed(std::uint32_t address, name::Name name, std::shared_ptr<node::Node> node)
{
    const auto added = std::make_shared<Programmable_item>(address, name, std::move(node));
    {
        const std::lock_guard lock(mutex_);
        if (std::any_of(ecu_list_.begin(), ecu_list_.end(), stands_at(address))) {
            return -1;
        }
        ecu_list_.push_back(added);
    }
    ecu_list_changed = 1;
    print_added(*added);
    return 0;
}

void Inventory::ecu_identified(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    ecu_list_changed = 1;
    const auto entry = find_ecu_by_address(address);
    if (entry == nullptr) {
        std::printf("%s: couldn't find pECU for %d\n", "ecu_id_handler", static_cast<int>(address));
        return;
    }
    if (has_moved(*entry)) {
        return;
    }
    const auto text = text_of(cut(bytes));
    std::printf("ECU id source address match (%d)! \r\n\t%s\r\n", static_cast<int>(address), text.c_str());
    change(address, [&text](Programmable_item& item) { item.set_ecu_identification(text); });
}

void Inventory::software_identified(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    ecu_list_changed = 1;
    const auto entry = find_ecu_by_address(address);
    if (bytes.empty() || entry == nullptr || has_moved(*entry)) {
        return;
    }
    const auto text = text_of(cut(bytes.subspan(1)));
    std::printf("SWiD [%d]%s\r\n", int{bytes[0]}, text.c_str());
    change(address, [&text](Programmable_item& item) { item.set_software_identification(text); });
}

void Inventory::gateway_reported(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    bytes = cut(bytes);
    std::string text(bytes.begin(), bytes.end());
    std::replace_if(
        text.begin(), text.end(), [](char character) { return static_cast<unsigned char>(character) < 32; }, '.');
    std::fprintf(stderr, "%s: [raw %s]\n", "on_gwpgn", text.c_str());
    const auto fields = split(text, '*', text_limit + 1);
    if (fields.size() != 6) {
        std::fprintf(stderr, "%s: couldn't parse: [%s] (%d entries)\n", "on_gwpgn", text.c_str(),
                     static_cast<int>(fields.size()));
        return;
    }
    const auto entry = find_ecu_by_address(address);
    std::printf("%s: (%d) : (hn %s) (ecu %p) (updating ", "gwpgn_handler", static_cast<int>(address),
                fields[2].c_str(), static_cast<const void*>(entry.get()));
    if (entry != nullptr && !has_moved(*entry)) {
        set_host(*entry, fields[2]);
    }
    std::puts(")");
}

/// Behind one node all entries of the sender's part and serial number stand; those of an ECU that has not told
/// them yet stand for nobody else.
void Inventory::set_host(const Programmable_item& sender, const std::string& host)
{
    const bool known = is_told(sender.part_number) && is_told(sender.serial_number);
    for (const auto& entry : entries()) {
        const bool alike =
            entry->part_number == sender.part_number && entry->serial_number == sender.serial_number;
        if (entry->address == sender.address || (known && alike)) {
            change(static_cast<std::uint32_t>(entry->address),
                   [&host](Programmable_item& item) { item.host = host; });
            std::printf("%d ", entry->address);
        }
    }
}

std::vector<Inventory::Entry> Inventory::entries() const
{
    const std::lock_guard lock(mutex_);
    return ecu_list_;
}

std::vector<Inventory::Entry> Inventory::visible_entries() const
{
    auto result = entries();
    std::erase_if(result, [](const Entry& entry) { return entry->hidden; });
    return result;
}

std::size_t Inventory::ecu_count() const { return entries().size(); }

Inventory::Entry Inventory::find_ecu_by_address(std::uint32_t address) const
{
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(ecu_list_.begin(), ecu_list_.end(), stands_at(address));
    return found == ecu_list_.end() ? nullptr : *found;
}

Inventory::Entry Inventory::visible_ecu_at(std::int32_t index) const
{
    const auto visible = visible_entries();
    const auto position = static_cast<std::size_t>(index);
    return index >= 0 && position < visible.size() ? visible[position] : nullptr;
}

/// Appends the files that fit, and their versions.
template <class Updates>
void Inventory::match(const Updates& updates, const Programmable_item& entry, Updates& matches,
                      std::vector<std::string>& versions) const
{
    for (const auto& parser : updates) {
        if (parser->matches(entry.name, entry.part_number.c_str()) != 0) {
            continue;
        }
        if (verbose_ > 0) {
            std::puts("Match!\r");
            parser->print_brief();
        }
        matches.push_back(parser);
        versions.push_back(parser->software_version);
    }
}

/// Leaves a choice that was made from the same files.
void Inventory::match_updates(Programmable_item& entry) const
{
    const auto files = catalogue_.contents();
    if (entry.matches->origin == files) {
        return;
    }
    const auto matches = std::make_shared<Matches>();
    std::vector<std::string> versions;
    match(files->hex_updates, entry, matches->hex_matches, versions);
    match(files->zip_updates, entry, matches->zip_matches, versions);
    matches->origin = files;
    entry.matches = matches;
    entry.update_version = newest(versions);
}

/// False when the entry was changed, or is gone.
bool Inventory::replace(const Entry& before, const Entry& after)
{
    const std::lock_guard lock(mutex_);
    const auto place = std::find(ecu_list_.begin(), ecu_list_.end(), before);
    if (place == ecu_list_.end()) {
        return false;
    }
    *place = after;
    return true;
}

void Inventory::refresh_ecu_strings()
{
    for (const auto& entry : visible_entries()) {
        for (auto current = entry; current != nullptr && !refresh(current);) {
            current = find_ecu_by_address(static_cast<std::uint32_t>(entry->address));
        }
    }
}

/// The files are compared outside the lock. False when the entry was changed meanwhile.
bool Inventory::refresh(const Entry& entry)
{
    const auto fresh = std::make_shared<Programmable_item>(*entry);
    fresh->current_version = fresh->application_version();
    match_updates(*fresh);
    if (!replace(entry, fresh)) {
        return false;
    }
    std::printf("Set ECU String, %s : %s : %s\r\n", fresh->title.c_str(), fresh->current_version.c_str(),
                fresh->update_version.c_str());
    return true;
}

void Inventory::clear_ecu_list()
{
    std::puts("Clearing ECU List");
    std::vector<Entry> cleared;
    const std::lock_guard lock(mutex_);
    ecu_list_.swap(cleared); // they go after the lock
}

} // namespace qv::can_bus::flr
