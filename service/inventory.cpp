#include "service/inventory.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "service/text.h"
#include "service/version_order.h"

namespace qv::can_bus::flr {

namespace {

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

/// What an ECU tells of itself has a few hundred bytes; a longer text is cut.
constexpr std::size_t text_limit = 8192;

std::span<const std::uint8_t> cut(std::span<const std::uint8_t> bytes)
{
    return bytes.first(std::min(bytes.size(), text_limit));
}

} // namespace

int Inventory::ecu_address_claimed(std::uint32_t address, name::Name name, std::shared_ptr<node::Node> node)
{
    auto* place = &ecu_list;
    for (; *place != nullptr; place = &(*place)->next) {
        if ((*place)->address == static_cast<std::int32_t>(address)) {
            return -1;
        }
    }
    *place = std::make_unique<Programmable_item>(address, name, std::move(node));
    ++ecu_count;
    ecu_list_changed = 1;
    print_added(**place);
    return 0;
}

void Inventory::ecu_identified(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    ecu_list_changed = 1;
    auto* entry = find_ecu_by_address(address);
    if (entry == nullptr) {
        std::printf("%s: couldn't find pECU for %d\n", "ecu_id_handler", static_cast<int>(address));
        return;
    }
    const auto text = text_of(cut(bytes));
    std::printf("ECU id source address match (%d)! \r\n\t%s\r\n", static_cast<int>(address), text.c_str());
    entry->set_ecu_identification(text);
}

void Inventory::software_identified(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    ecu_list_changed = 1;
    auto* entry = find_ecu_by_address(address);
    if (entry == nullptr || bytes.empty()) {
        return;
    }
    const auto text = text_of(cut(bytes.subspan(1)));
    std::printf("SWiD [%d]%s\r\n", int{bytes[0]}, text.c_str());
    entry->set_software_identification(text);
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
    const auto* entry = find_ecu_by_address(address);
    std::printf("%s: (%d) : (hn %s) (ecu %p) (updating ", "gwpgn_handler", static_cast<int>(address),
                fields[2].c_str(), static_cast<const void*>(entry));
    if (entry != nullptr) {
        set_host(*entry, fields[2]);
    }
    std::puts(")");
}

/// Behind one node all entries of the sender's part and serial number stand.
void Inventory::set_host(const Programmable_item& sender, const std::string& host) const
{
    for (auto* entry = ecu_list.get(); entry != nullptr; entry = entry->next.get()) {
        if (entry->part_number == sender.part_number && entry->serial_number == sender.serial_number) {
            entry->host = host;
            std::printf("%d ", entry->address);
        }
    }
}

Programmable_item* Inventory::find_ecu_by_address(std::uint32_t address) const
{
    auto* entry = ecu_list.get();
    while (entry != nullptr && entry->address != static_cast<std::int32_t>(address)) {
        entry = entry->next.get();
    }
    return entry;
}

Programmable_item* Inventory::visible_ecu_at(std::int32_t index) const
{
    for (auto* entry = ecu_list.get(); entry != nullptr; entry = entry->next.get()) {
        if (!entry->hidden && index-- == 0) {
            return entry;
        }
    }
    return nullptr;
}

void Inventory::match_updates(Programmable_item& entry) const
{
    entry.hex_matches.clear();
    std::vector<std::string> versions;
    for (const auto& parser : hex_updates) {
        if (parser->matches(entry.name, entry.part_number.c_str()) != 0) {
            continue;
        }
        if (verbose_ > 0) {
            std::puts("Match!\r");
            parser->print_brief();
        }
        entry.hex_matches.push_back(parser);
        versions.push_back(parser->software_version);
    }
    entry.update_version = newest(versions);
}

void Inventory::refresh_ecu_strings() const
{
    for (auto* entry = ecu_list.get(); entry != nullptr; entry = entry->next.get()) {
        if (entry->hidden) {
            continue;
        }
        entry->current_version = entry->application_version();
        match_updates(*entry);
        std::printf("Set ECU String, %s : %s : %s\r\n", entry->title.c_str(), entry->current_version.c_str(),
                    entry->update_version.c_str());
    }
}

void Inventory::clear_ecu_list()
{
    std::puts("Clearing ECU List");
    ecu_list.reset();
    ecu_count = 0;
}

} // namespace qv::can_bus::flr
