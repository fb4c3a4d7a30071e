#include "service/zip_parser.h"

#include <chrono>
#include <csignal>

#include <unistd.h>

#include "service/package_test_kit.h"
#include "service/unzip.h"

namespace qv::can_bus::flr {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

class Zip_parser_test : public testing::Test {
protected:
    int parse(const std::string& version, const std::string& conditions = "")
    {
        return parser.parse(folder.zip("p.zip", {{"version", version}, {"ecuinfo", conditions}}), false);
    }
    std::string version_of(const std::string& member)
    {
        return parse(member) == 0 ? parser.software_version : "none";
    }

    test::Update_folder folder;
    ZipParser parser;
};

TEST_F(Zip_parser_test, a_package_has_a_version_and_fits_the_ecus_that_it_names)
{
    ASSERT_EQ(parse("4.2.1"), 0);
    EXPECT_EQ(parser.matches(0xA000860012E00001, nullptr), -1); // names none
    ASSERT_EQ(parse("4.2.1 \r\n", "IG,2*MN,151*\n"), 0);
    EXPECT_EQ(parser.matches(0xA000860012E00001, nullptr), 0);
    EXPECT_EQ(parser.matches(0xA000860012C00001, nullptr), -1); // manufacturer 150

    testing::internal::CaptureStdout();
    parser.print_brief();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\r\n----------Zip Information----------\r\n"
                                                      "SoftwareVersion: 4.2.1\r\n\r\n\r\n");
}

TEST_F(Zip_parser_test, the_last_line_of_a_member_counts)
{
    EXPECT_EQ(version_of("1.0\n2.0\t\n3.0"), "3.0");
    EXPECT_EQ(version_of("1.0\n \r\n"), " \r\n"); // blanks alone stay
    EXPECT_EQ(version_of(""), "Missing");
    EXPECT_EQ(version_of(std::string("1.0\0 9", 6)), "1.0");
    EXPECT_EQ(version_of(std::string(1023, 'a') + "b"), "b");
    EXPECT_EQ(version_of(std::string(1022, 'a') + "\n"), std::string(1022, 'a'));
}

TEST_F(Zip_parser_test, damaged_and_foreign_files_are_no_packages)
{
    const test::Update_folder::Members members{{"version", "1.0"}, {"ecuinfo", "IG,2*"}};
    const auto cut = folder.zip("cut.zip", members);
    fs::resize_file(cut, fs::file_size(cut) / 2);
    for (const auto& file :
         {cut, folder.zip("no_version.zip", {members[1]}), folder.write("empty.zip", ""),
          folder.zip("encrypted.zip", members, "-P secret"), folder.path, folder.path + "/none"}) {
        EXPECT_NE(parser.parse(file, true), 0) << file;
    }
    EXPECT_EQ(parser.parse(folder.zip("no_info.zip", {members[0]}), true), 11); // unzip: no such member
}

TEST_F(Zip_parser_test, a_member_beyond_any_sense_is_refused)
{
    const std::string limit(Zip_archive::member_limit, '1');
    EXPECT_EQ(parse(limit, limit), 0);
    EXPECT_EQ(parse(limit + "1"), -1);
    EXPECT_EQ(parse("1", limit + "1"), -1);
    EXPECT_EQ(parse(std::string(30 << 20, '\0')), -1);
}

/// Some stand beside what a shell, or the command itself, would take them for.
TEST_F(Zip_parser_test, any_name_is_just_a_name)
{
    folder.package("a.zip", "decoy");
    folder.package("x.zip", "decoy");
    for (const auto* name : {"with blanks.zip", "'\"; exit 1; $(exit 1).zip", "-o.zip", "[a]*?.zip", "?.zip",
                             "\\.zip", "--help", "line\nfeed.zip", "x"}) {
        EXPECT_EQ(parser.parse(folder.package(name, "own"), true), 0) << name;
        EXPECT_EQ(parser.software_version, "own") << name;
    }
    ::setenv("FLINTROW_ROOT", folder.path.c_str(), 1); // where there is no unzip
    EXPECT_EQ(parse("1"), -1);
    ::unsetenv("FLINTROW_ROOT");
    fs::resize_file(folder.path + "/x", 10);
    EXPECT_NE(parser.parse(folder.path + "/x", true), 0); // and not x.zip
}

TEST_F(Zip_parser_test, an_unzip_that_behaves_ill_is_ended_in_time)
{
    const auto file = folder.package("p.zip");
    for (const std::string ill : {"yes", "echo 1; sleep 60", "echo 1; exec >&-; sleep 60", "echo 1; kill -9 $$"}) {
        folder.replace_unzip("echo $$ >" + folder.path + "/id; " + ill);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Zip_archive(file, 3000ms).extract("version").status, -1) << ill;
        const auto time = std::chrono::steady_clock::now() - start;
        EXPECT_LT(time, 30s) << ill;
        pid_t id = 0;
        std::ifstream(folder.path + "/id") >> id;
        EXPECT_TRUE(id > 0 ? ::kill(id, 0) == -1 : time >= 3s) << ill << ": still there, or never was";
    }
}

TEST_F(Zip_parser_test, the_command_gets_the_archive_and_nothing_else_of_the_process)
{
    const auto file = folder.package("p.zip");
    ::setenv("UNZIP", "-v", 1);
    ::dup2(STDIN_FILENO, 77); // as careless code leaves it
    folder.replace_unzip("read -r id name state parent group session rest </proc/$$/stat\n"
                         "[ $session = $$ ] && echo no terminal; [ -e /proc/$$/fd/77 ] || echo no descriptor\n"
                         "echo \"$UNZIP $*\"; cmp $2 " +
                         file + " && echo the archive");
    const auto member = Zip_archive(file).extract("version");
    ::close(77);
    ::unsetenv("UNZIP");
    EXPECT_EQ(member.bytes, "no terminal\nno descriptor\n -p /proc/self/fd/3 version\nthe archive\n");
}

} // namespace
} // namespace qv::can_bus::flr
