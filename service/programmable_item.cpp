#include "service/programmable_item.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace qv::can_bus::flr {

namespace {

/// Industry group 2, function 23, manufacturer 151: control functions that carry a bootloader but are not
/// programmed one by one.
constexpr std::array<name::Name, 1> hidden_names = {0xA000170012E20000};
constexpr name::Name hidden_name_mask = ~name::Name{0x1FFFF};

constexpr const char* not_available = "-";

std::string without_trailing_blanks(const std::string& text)
{
    return text.substr(0, text.find_last_not_of(" \n\r\t") + 1);
}

/// Up to three subfields; what is missing is empty. A field that begins with "," says nothing at all.
Software_id software_id(std::string_view field)
{
    if (field.substr(0, 1) == ",") {
        return {};
    }
    auto subfields = split(field, ',', 3);
    subfields.resize(3);
    return {std::move(subfields[0]), std::move(subfields[1]), std::move(subfields[2])};
}

std::string hexadecimal(std::int32_t address)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%02x", static_cast<unsigned>(address));
    return text.data();
}

/// Whether a control function of this NAME is kept out of sight: all but its 17 lowest bits stand in the list.
bool is_hidden_name(name::Name name) noexcept
{
    return std::find(hidden_names.begin(), hidden_names.end(), name & hidden_name_mask) != hidden_names.end();
}

} // namespace

std::vector<std::string> split(std::string_view text, char separator, std::size_t limit)
{
    std::vector<std::string> fields;
    while (fields.size() < limit) {
        const auto end = text.find(separator);
        fields.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            break;
        }
        text.remove_prefix(end + 1);
    }
    return fields;
}

Programmable_item::Programmable_item(std::uint32_t source_address, name::Name ecu_name,
                                     std::shared_ptr<node::Node> ecu_node)
    : address(static_cast<std::int32_t>(source_address))
    , name(ecu_name)
    , title(std::to_string(source_address))
    , long_title(title)
    , node(std::move(ecu_node))
{}

void Programmable_item::set_ecu_identification(std::string_view text)
{
    const std::array<std::string*, 5> targets = {&part_number, &serial_number, &location, &type, &manufacturer};
    const auto former_part_number = part_number;
    const auto fields = split(text, '*', targets.size());
    for (std::size_t index = 0; index < std::min(targets.size(), fields.size()); ++index) {
        *targets[index] = fields[index].empty() ? not_available : without_trailing_blanks(fields[index]);
    }
    if (part_number != former_part_number) {
        matches = std::make_shared<Matches>(); // they were chosen by it
    }
    set_titles();
}

/// The long title, and the same cut down to 13 characters with at least four of the serial number.
void Programmable_item::set_titles()
{
    constexpr std::size_t title_size = 13;
    const auto base = type == not_available ? hexadecimal(address) : type;
    long_title = base + "-" + serial_number;
    if (long_title.size() <= title_size) {
        title = long_title;
        return;
    }
    const auto room = title_size - 1; // beside the "-"
    const auto serial_part = std::max<std::size_t>(room - std::min(room, base.size()), 4);
    title = base.substr(0, room - serial_part) + "-" + serial_number.substr(0, serial_part);
}

void Programmable_item::set_software_identification(std::string_view text)
{
    software_ids = {};
    software_id_count = 0;
    for (auto end = text.find('*'); end != std::string_view::npos && software_id_count < software_id_limit;
         end = text.find('*')) {
        auto& record = software_ids[software_id_count++];
        record = software_id(text.substr(0, end));
        text.remove_prefix(end + 1);
        if (record.label.find("BLD") == std::string::npos) {
            continue;
        }
        hidden = is_hidden_name(name);
        if (hidden) {
            std::printf("Hiding 0x%" PRIx64 " / %s\n", name, long_title.c_str());
        }
    }
}

std::size_t Programmable_item::application_software_index() const
{
    const auto begin = software_ids.begin();
    const auto end = begin + software_id_count;
    const auto found =
        std::find_if(begin, end, [](const Software_id& id) { return id.label == "APP" || id.label == "TV0001"; });
    return found == end ? 0 : static_cast<std::size_t>(found - begin);
}

const std::string& Programmable_item::application_version() const
{
    return software_ids[application_software_index()].version;
}

} // namespace qv::can_bus::flr
