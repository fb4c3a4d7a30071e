#include "platform/tvs_system.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <string_view>

#include "config/xml.h"
#include "framework/byte_array.h"
#include "framework/file/file_crt.h"
#include "framework/file/root.h"
#include "platform/sources.h"

namespace qv::platform {

namespace {

constexpr const char* registration_file = "/usr/bin/tolvan/registration.xml";
constexpr const char* address_file = "/sys/class/net/eth0/address";
constexpr const char* version_file = "/usr/bin/tolvan/gaffhook/softwareversion.txt";
constexpr const char* part_number_file = "/etc/tolvan/software_pn";
constexpr std::uint32_t registration_size_max = 1024 * 1024;

/// The texts of a registration's elements, by their names.
class Registration final : public xml::Handler {
public:
    /// The file as it is now; without elements when there is none, or when it does not parse.
    static Registration read()
    {
        Registration registration;
        const auto input = file::open(file::rooted(registration_file), file::mode::read);
        Byte_array bytes;
        if (input != nullptr && file::read_into(*input, bytes, registration_size_max)) {
            registration.parse({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        }
        return registration;
    }

    void take(std::string_view element, std::string& field) const
    {
        if (const auto found = texts_.find(element); found != texts_.end()) {
            field = found->second;
        }
    }

    void on_element_start(const char* name, const char** /*attributes*/) override
    {
        open_ = name;
        texts_[open_].clear();
    }
    void on_element_end(const char* /*name*/) override { open_.clear(); }
    void on_character_data(std::string_view text) override
    {
        if (!open_.empty()) {
            texts_[open_] += text;
        }
    }

private:
    void parse(std::string_view text)
    {
        xml::Parser parser;
        if (!parser.initialise(*this) || parser.parse(text)) {
            return;
        }
        std::fprintf(stderr, "%s at line %llu\n", parser.error_text(), parser.line());
        texts_.clear();
    }

    std::map<std::string, std::string, std::less<>> texts_;
    std::string open_; ///< the element that text belongs to; empty between elements
};

} // namespace

tvs_system::tvs_system()
{
    tvs_system::read_gps();
    tvs_system::read_uuid();
    tvs_system::read_assembly();
    tvs_system::read_software();
}

void tvs_system::read_gps()
{
    const Registration registration = Registration::read();
    registration.take("GPSType", gps_.type);
    registration.take("GPSModel", gps_.model);
    registration.take("GPSSerial", gps_.serial);
    registration.take("GPSHardRev", gps_.hardware_revision);
}

void tvs_system::read_uuid()
{
    if (auto text = file_text(address_file)) {
        const std::size_t begin = std::min(text->find_first_not_of(" \t\r\n"), text->size());
        uuid_ = text->substr(begin, text->find_first_of(" \t\r\n", begin) - begin);
    }
}

void tvs_system::read_assembly()
{
    const Registration registration = Registration::read();
    registration.take("SerialNumber", assembly_serial_);
    registration.take("PartNumber", assembly_part_number_);
}

void tvs_system::read_software()
{
    read_field(version_file, software_version_);
    read_field(part_number_file, software_part_number_);
    Registration::read().take("Version", software_version_);
}

} // namespace qv::platform
