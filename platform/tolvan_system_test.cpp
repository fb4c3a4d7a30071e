#include "platform/tolvan_system.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "framework/thread/pause.h"

namespace qv::platform {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/// What the pauses came to, and what happens in each.
std::chrono::milliseconds paused{0};
std::function<void()> during_pause;

/// A terminal below a directory whose name needs quoting.
class Tolvan_system_test : public testing::Test {
protected:
    Tolvan_system_test()
    {
        std::string pattern = (fs::temp_directory_path() / "it's a terminal XXXXXX").string();
        root = mkdtemp(pattern.data());
        setenv("FLINTROW_ROOT", root.c_str(), 1);
        setenv("HOME", "/home/me", 1);
        paused = {};
        during_pause = [] { ADD_FAILURE() << "paused"; };
        thread::set_pause([](std::chrono::milliseconds duration) {
            paused += duration;
            during_pause();
        });
    }
    ~Tolvan_system_test() override
    {
        thread::set_pause(nullptr);
        unsetenv("FLINTROW_ROOT");
        fs::remove_all(root);
    }

    void put(const std::string& path, const std::string& contents) const
    {
        fs::create_directories(fs::path(root + path).parent_path());
        std::ofstream(root + path, std::ios::binary) << contents;
    }
    void desktop(const std::string& keys) const { put("/home/me/brine-desktop.conf", '{' + keys + '}'); }
    /// A boot environment that holds the lines of a shell `case`.
    void boot_environment(const std::string& cases) const
    {
        put("/sbin/fw_printenv", "#!/bin/sh\ncase $1 in\n" + cases + "\nesac\n");
        fs::permissions(root + "/sbin/fw_printenv", fs::perms::owner_all);
    }
    /// Makes the system, which keeps what it printed.
    std::unique_ptr<TolvanSystem> create()
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        auto system = create_system();
        output = testing::internal::GetCapturedStdout();
        errors = testing::internal::GetCapturedStderr();
        return system;
    }

    std::string root;
    std::string output;
    std::string errors;
};

TEST_F(Tolvan_system_test, the_platform_file_decides)
{
    const struct {
        const char* contents;
        const char* platform;
        std::uint32_t type, code;
    } rows[] = {
        {"HALDEN\r\n", "HALDEN", 0, 0},  {"HALDENMID \t\n", "HALDENMID", 1, 0},
        {"MOSSLEY", "MOSSLEY", 2, 1},    {"HALDENPLUS\n", "HALDENPLUS", 4, 0},
        {"DESKTOP\n", "DESKTOP", 5, 30}, {" HALDEN", " HALDEN", 6, 30},
        {"UNKNOWN", "UNKNOWN", 6, 30},   {"", "", 6, 30},
    };
    boot_environment("");
    for (const auto& row : rows) {
        put("/etc/tolvan/platform", row.contents);
        const auto system = create();
        EXPECT_EQ(system->platform(), row.platform);
        EXPECT_EQ(system->platform_type(), row.type) << row.contents;
        EXPECT_EQ(system->platform_code(), row.code) << row.contents;
    }
    put("/etc/tolvan/platform", std::string(1000, 'x'));
    EXPECT_EQ(create()->platform(), std::string(64, 'x'));
    EXPECT_EQ(output, "");

    fs::remove(root + "/etc/tolvan/platform");
    EXPECT_EQ(create()->platform(), "UNKNOWN");
    EXPECT_EQ(output, "Searching for config file @ /home/me/brine-desktop.conf\r\nError loading config file\n");
}

TEST_F(Tolvan_system_test, a_desktop_can_pose_as_another_platform)
{
    const struct {
        const char* keys;
        std::uint32_t code, type;
        const char* output;
    } rows[] = {
        {R"("platform": "HALDEN", "virtualPlatform": "TARNWOOD")", 0, 3, "Platform: HALDEN\r\n"},
        {R"("platform": "X")", 30, 6, "Platform: X\r\nMissing message element 'virtualPlatform'\n"},
        {R"("platform": [1], "virtualPlatform": "HALDEN")", 30, 0, "Missing message element 'platform'\n"},
        {R"("platform")", 30, 6, "Error loading config file\n"},
    };
    for (const auto& row : rows) {
        desktop(row.keys);
        const auto system = create();
        EXPECT_EQ(system->platform_code(), row.code) << row.keys;
        EXPECT_EQ(system->platform_type(), row.type) << row.keys;
        EXPECT_EQ(output, std::string("Searching for config file @ /home/me/brine-desktop.conf\r\n") + row.output);
    }
}

TEST_F(Tolvan_system_test, a_desktop_is_read_again_only_when_its_file_changed)
{
    desktop(R"("platform": "DESKTOP", "virtualPlatform": "DESKTOP", "assemblySN": "123456", "assemblyPN": 77)");
    const auto system = create();
    EXPECT_EQ(system->assembly_serial(), "123456");
    EXPECT_EQ(system->assembly_part_number(), "77");
    const fs::path file = root + "/home/me/brine-desktop.conf";
    const auto stamp = fs::last_write_time(file);
    desktop(R"("assemblySN": "2")");
    fs::last_write_time(file, stamp);
    system->read_assembly();
    EXPECT_EQ(system->assembly_serial(), "123456");
    fs::last_write_time(file, stamp + std::chrono::seconds(1));
    system->read_assembly();
    EXPECT_EQ(system->assembly_serial(), "2");
    EXPECT_EQ(system->assembly_part_number(), "77");
}

TEST_F(Tolvan_system_test, the_boot_environment_identifies_a_board)
{
    put("/etc/tolvan/platform", "MOSSLEY");
    put("/etc/tolvan/version", "2.12\r\n");
    put("/sys/devices/soc0/soc.1/2100000.aips-bus/2188000.ethernet/net/eth0/address", "00:11:22\n");
    boot_environment("tvn_as_sn) echo 'tvn_as_sn=123456 ';;\ntvn_as_pn) printf 'tvn_as_pn=A=B'; seq 100000;;");
    const auto system = create();
    EXPECT_EQ(system->assembly_serial(), "123456");
    EXPECT_THAT(system->assembly_part_number(), testing::StartsWith("A=B1"));
    EXPECT_EQ(system->uuid(), "00:11:22");
    EXPECT_EQ(system->software_version(), "2.12");

    fs::remove(root + "/sbin/fw_printenv");
    EXPECT_EQ(create()->assembly_serial(), "");
    EXPECT_THAT(errors, HasSubstr("not found"));
}

TEST_F(Tolvan_system_test, a_board_of_the_kind_that_needs_its_id_waits_for_it)
{
    put("/etc/tolvan/platform", "TARNWOOD");
    int pauses = 0;
    during_pause = [&] {
        if (++pauses == 3) {
            boot_environment("tvn_uuid) echo tvn_uuid=4711;;");
        }
    };
    EXPECT_EQ(create()->uuid(), "4711");
    EXPECT_EQ(paused, std::chrono::seconds(15));
}

TEST_F(Tolvan_system_test, a_command_that_cannot_be_started_is_tried_five_more_times)
{
    put("/etc/tolvan/platform", "MOSSLEY");
    boot_environment("tvn_as_sn) echo tvn_as_sn=5;;\ntvn_as_pn) echo tvn_as_pn=6;;");
    const auto system = create();
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none = {0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    int pauses = 0;
    during_pause = [&] {
        if (++pauses == 8) { // the serial number has been given up after 5
            setrlimit(RLIMIT_NOFILE, &limit);
        }
    };
    system->read_assembly();
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(paused, std::chrono::seconds(8));
    EXPECT_EQ(system->assembly_serial(), "");
    EXPECT_EQ(system->assembly_part_number(), "6");
}

TEST_F(Tolvan_system_test, the_registration_identifies_a_terminal_of_the_maker)
{
    put("/etc/tolvan/platform", "HALDEN\n");
    put("/usr/bin/tolvan/gaffhook/softwareversion.txt", "1.0\n");
    put("/sys/class/net/eth0/address", " 00:aa:bb rest\n");
    EXPECT_EQ(create()->software_version(), "1.0");
    const std::string registration = "/usr/bin/tolvan/registration.xml";
    put(registration, "<R><OEM>x</OEM>\n <SerialNumber>12&amp;3</SerialNumber><PartNumber>P<b>q</b>r</PartNumber>"
                      "<Version>2.0</Version><GPSModel>m</GPSModel></R>");
    const auto system = create();
    EXPECT_EQ(system->assembly_serial(), "12&3");
    EXPECT_EQ(system->assembly_part_number(), "P");
    EXPECT_EQ(system->software_version(), "2.0");
    EXPECT_EQ(system->gps().model, "m");
    EXPECT_EQ(system->uuid(), "00:aa:bb");

    for (const std::string damaged : {"<R>\n<SerialNumber>9</SerialNumber>", "", "\xFF\xFE", "<R>\n</S>"}) {
        put(registration, damaged);
        testing::internal::CaptureStderr();
        system->read_assembly();
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(" at line ")) << damaged;
        EXPECT_EQ(system->assembly_serial(), "12&3");
    }
}

} // namespace
} // namespace qv::platform
