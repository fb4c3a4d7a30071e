#include "platform/imx6_system.h"

#include <chrono>

#include "framework/thread/pause.h"
#include "platform/sources.h"

namespace qv::platform {

namespace {

using namespace std::chrono_literals;

constexpr const char* address_file = "/sys/devices/soc0/soc.1/2100000.aips-bus/2188000.ethernet/net/eth0/address";
constexpr const char* version_file = "/etc/tolvan/version";
constexpr const char* part_number_file = "/etc/tolvan/software_pn";
constexpr int retry_count = 5;

/// A command that cannot be started is tried again, a second later each time.
std::string patient_boot_variable(const char* name)
{
    auto value = boot_variable(name);
    for (int retry = 0; !value && retry < retry_count; ++retry) {
        thread::pause(1s);
        value = boot_variable(name);
    }
    return value.value_or("");
}

} // namespace

imx6_system::imx6_system()
{
    imx6_system::read_uuid();
    imx6_system::read_assembly();
    imx6_system::read_software();
}

void imx6_system::read_uuid()
{
    for (;;) {
        uuid_ = boot_variable("tvn_uuid").value_or("");
        if (!uuid_.empty()) {
            return;
        }
        if (platform_ != "TARNWOOD") {
            return read_field(address_file, uuid_);
        }
        thread::pause(5s);
    }
}

void imx6_system::read_assembly()
{
    assembly_serial_ = patient_boot_variable("tvn_as_sn");
    assembly_part_number_ = patient_boot_variable("tvn_as_pn");
}

void imx6_system::read_software()
{
    read_field(version_file, software_version_);
    read_field(part_number_file, software_part_number_);
}

} // namespace qv::platform
