#include "platform/tolvan_system.h"

#include <filesystem>
#include <fstream>
#include <functional>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "framework/file/scratch_folder.h"
#include "framework/thread/pause.h"

namespace qv::platform {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/// What the pauses came to, and what happens in each.
std::chrono::milliseconds paused;
std::function<void()> during_pause;

/// A terminal below a directory whose name needs quoting.
class Tolvan_system_test : public testing::Test {
protected:
    Tolvan_system_test()
    {
        setenv("FLINTROW_ROOT", root.c_str(), 1);
        setenv("HOME", "/home/me", 1);
        paused = 0ms;
        during_pause = [] { ADD_FAILURE() << "paused"; };
        thread::set_pause([](std::chrono::milliseconds duration) { paused += duration, during_pause(); });
    }

    void put(const std::string& path, const std::string& contents) const
    {
        fs::create_directories(fs::path(root + path).parent_path());
        std::ofstream(root + path, std::ios::binary) << contents;
    }
    /// A boot environment that holds the lines of a shell `case`.
    void boot_environment(const std::string& cases) const
    {
        put("/sbin/fw_printenv", "#!/bin/sh\ncase $1 in\n" + cases + "\nesac\n");
        fs::permissions(root + "/sbin/fw_printenv", fs::perms::owner_all);
    }

    const file::test::Scratch_folder folder{"it's a terminal"};
    const std::string root = folder.path();
};

TEST_F(Tolvan_system_test, the_platform_file_decides_and_without_one_the_desktop_can_pose_as_another)
{
    const std::string searching = "Searching for config file @ /home/me/brine-desktop.conf\r\n";
    const char* const desktop = "/home/me/brine-desktop.conf";
    const char* const file = "/etc/tolvan/platform";
    // clang-format off
    const struct { const char *path, *contents; std::uint32_t type, code; std::string output; } rows[] = {
        {desktop, "{", 6, 30, searching + "Error loading config file\n"},
        {desktop, R"({"platform": "X"})", 6, 30,
         searching + "Platform: X\r\n" + "Missing message element 'virtualPlatform'\n"},
        {desktop, R"({"platform": [1], "virtualPlatform": "HALDEN"})", 0, 30,
         searching + "Missing message element 'platform'\n"},
        {desktop, R"({"platform": "HALDEN", "virtualPlatform": "TARNWOOD"})", 3, 0,
         searching + "Platform: HALDEN\r\n"},
        {file, "HALDEN\r\n", 0, 0, ""}, {file, "HALDENMID \t\n", 1, 0, ""}, {file, "MOSSLEY", 2, 1, ""},
        {file, "HALDENPLUS\n", 4, 0, ""}, {file, "DESKTOP\n", 5, 30, ""}, {file, " HALDEN", 6, 30, ""}};
    // clang-format on
    boot_environment("");
    for (const auto& row : rows) {
        put(row.path, row.contents);
        testing::internal::CaptureStdout();
        const auto system = create_system();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.output);
        EXPECT_TRUE(system->platform_type() == row.type && system->platform_code() == row.code) << row.contents;
    }
    put("/etc/tolvan/platform", std::string(1000, 'x'));
    EXPECT_EQ(create_system()->platform(), std::string(64, 'x'));
}

TEST_F(Tolvan_system_test, a_desktop_is_read_again_only_when_its_file_changed)
{
    const std::string file = "/home/me/brine-desktop.conf";
    put("/etc/tolvan/platform", "DESKTOP");
    put(file, R"({"assemblySN": "123456", "assemblyPN": 77})");
    const auto system = create_system();
    const auto stamp = fs::last_write_time(root + file);
    put(file, R"({"assemblySN": "2"})");
    for (const char* serial : {"123456", "2"}) {
        fs::last_write_time(root + file, stamp + (*serial == '2' ? 1s : 0s));
        system->read_assembly();
        EXPECT_EQ(system->assembly_serial() + ' ' + system->assembly_part_number(), serial + std::string(" 77"));
    }
}

TEST_F(Tolvan_system_test, the_boot_environment_identifies_a_board_and_its_command_is_tried_six_times)
{
    put("/etc/tolvan/platform", "MOSSLEY");
    put("/etc/tolvan/version", "2.12\r\n");
    put("/sys/devices/soc0/soc.1/2100000.aips-bus/2188000.ethernet/net/eth0/address", "00:11:22\n");
    boot_environment("tvn_as_sn) echo 'tvn_as_sn=123456 ';;\ntvn_as_pn) printf 'tvn_as_pn=A=B'; seq 100000;;");
    const auto system = create_system();
    const auto assembly = [&] { return system->assembly_serial() + ' ' + system->assembly_part_number(); };
    EXPECT_EQ(assembly() + ' ' + system->uuid() + ' ' + system->software_version(), "123456 A=B1 00:11:22 2.12");

    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none = {0, limit.rlim_max};
    for (const auto until : {6s, 10s}) { // 5 s for the serial number, then up to 5 s for the part number
        paused = 0ms;
        setrlimit(RLIMIT_NOFILE, &none);
        during_pause = [&] { setrlimit(RLIMIT_NOFILE, paused < until ? &none : &limit); };
        system->read_assembly();
        setrlimit(RLIMIT_NOFILE, &limit);
        EXPECT_TRUE(paused == until && assembly() == " A=B1") << assembly();
    }
}

TEST_F(Tolvan_system_test, a_board_of_the_kind_that_needs_its_id_waits_for_it)
{
    put("/etc/tolvan/platform", "TARNWOOD");
    during_pause = [this] { boot_environment(paused < 15s ? "" : "tvn_uuid) echo tvn_uuid=4711;;"); };
    const auto system = create_system();
    EXPECT_TRUE(system->uuid() == "4711" && system->platform_code() == 26 && paused == 15s);
}

TEST_F(Tolvan_system_test, the_registration_identifies_a_terminal_of_the_maker)
{
    put("/etc/tolvan/platform", "HALDEN\n");
    put("/usr/bin/tolvan/gaffhook/softwareversion.txt", "1.0\n");
    put("/sys/class/net/eth0/address", " 00:aa:bb rest\n");
    EXPECT_EQ(create_system()->software_version(), "1.0");
    const std::string registration = "/usr/bin/tolvan/registration.xml";
    put(registration, "<R><OEM>x</OEM>\n <SerialNumber>12&amp;3</SerialNumber><PartNumber>P<b>q</b>r</PartNumber>"
                      "<Version>2.0</Version></R>");
    const auto system = create_system();
    EXPECT_EQ(system->assembly_serial() + ' ' + system->assembly_part_number(), "12&3 P");
    EXPECT_EQ(system->software_version() + ' ' + system->uuid(), "2.0 00:aa:bb");

    put(registration, "<R>\n<SerialNumber>9</SerialNumber>");
    testing::internal::CaptureStderr();
    system->read_assembly();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "no element found at line 2\n");
    EXPECT_EQ(system->assembly_serial(), "12&3");
}

} // namespace
} // namespace qv::platform
