#include "service/catalogue.h"

#include <atomic>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "service/package_test_kit.h"

namespace qv::can_bus::flr {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class Catalogue_test : public testing::Test {
protected:
    /// Scans this directory below the folder, or the folder itself; what was printed.
    std::string scan(const std::string& directory = "")
    {
        testing::internal::CaptureStdout();
        EXPECT_EQ(catalogue.scan_directory(folder.path + directory), 0);
        return testing::internal::GetCapturedStdout();
    }
    /// Paths below the folder.
    std::vector<std::string> images() const { return names(catalogue.contents()->hex_updates); }
    std::vector<std::string> packages() const { return names(catalogue.contents()->zip_updates); }

    test::Update_folder folder;
    std::uint32_t verbose = 0;
    Catalogue catalogue{verbose};

private:
    std::vector<std::string> names(const auto& updates) const
    {
        std::vector<std::string> result;
        for (const auto& update : updates) {
            result.push_back(update->path.substr(folder.path.size() + 1));
        }
        return result;
    }
};

TEST_F(Catalogue_test, finds_images_and_packages_in_depth)
{
    const std::string name(200, 'n');
    const auto far = name + "/" + name + "/" + name + "/a.hex";
    folder.image(far);
    folder.image("b.hex");
    folder.package("sub/c.zip");
    verbose = 1;
    const auto words = scan();
    EXPECT_THAT(words, HasSubstr("Parsing " + folder.path + "/sub/c.zip...\r\n"));
    EXPECT_THAT(words, testing::AllOf(HasSubstr("Hex Information"), HasSubstr("Zip Information")));
    EXPECT_THAT(images(), UnorderedElementsAre(far, "b.hex"));
    EXPECT_THAT(packages(), ElementsAre("sub/c.zip"));
    EXPECT_EQ(catalogue.find_parsed_file(folder.path + "/sub/c.zip"), 0);
    EXPECT_EQ(catalogue.find_parsed_file(folder.path + "/sub"), -1);
}

TEST_F(Catalogue_test, passes_over_dot_names_links_and_what_is_no_file)
{
    folder.image(".a.hex");
    folder.image(".git/b.hex");
    const auto file = folder.image("c.hex");
    fs::create_symlink(file, folder.path + "/link.hex");
    fs::create_directory_symlink(folder.path, folder.path + "/loop");
    ASSERT_EQ(::mkfifo((folder.path + "/pipe.hex").c_str(), 0600), 0);
    EXPECT_EQ(scan(), "Parsing " + file + "...\r\nUnsupported ECU Encryption Version\r\n");
}

TEST_F(Catalogue_test, a_second_scan_reads_nothing_again_but_what_was_invalid)
{
    folder.image("a.hex");
    folder.package("b.zip");
    const auto invalid = folder.write("c.hex", ":00000001FE\n");
    EXPECT_THAT(scan(), HasSubstr("Error: Invalid update file\r\n"));
    const auto before = catalogue.contents();
    EXPECT_EQ(scan(), "Parsing " + invalid + "...\r\nError: Invalid update file\r\n");
    EXPECT_EQ(catalogue.contents(), before);
}

TEST_F(Catalogue_test, what_changed_is_read_anew_and_what_is_gone_is_dropped)
{
    const auto removed = folder.image("removed.hex");
    const auto touched = folder.image("touched.hex");
    const auto grown = folder.package("grown.zip");
    scan();
    const auto before = catalogue.contents();
    fs::remove(removed);
    fs::last_write_time(touched, fs::last_write_time(touched) + std::chrono::seconds(2));
    folder.package("grown.zip", "2.0.1");
    const auto words = scan();
    EXPECT_THAT(words, HasSubstr("File removed " + removed + "\n\r"));
    EXPECT_THAT(words, HasSubstr("File Modified date changed " + touched + "\r\n"));
    EXPECT_THAT(words, HasSubstr("File Size changed " + grown + "\r\n"));
    EXPECT_THAT(words, HasSubstr("Parsing " + touched));
    EXPECT_THAT(images(), ElementsAre("touched.hex"));
    EXPECT_EQ(catalogue.contents()->zip_updates.at(0)->software_version, "2.0.1");
    EXPECT_EQ(catalogue.find_parsed_file(removed), -1);
    // Who still works with the former contents is not disturbed.
    EXPECT_EQ(before->zip_updates.at(0)->software_version, "1.0");
    EXPECT_TRUE(before->paths.contains(removed));
}

TEST_F(Catalogue_test, takes_ten_thousand_files_and_passes_over_what_it_may_not_read)
{
    for (int number = 0; number < 10'000; ++number) {
        folder.write(std::to_string(number) + ".hex", "");
    }
    fs::permissions(folder.write("secret.hex", ""), fs::perms::none);
    folder.write("closed/a.hex", "");
    fs::permissions(folder.path + "/closed", fs::perms::none);
    fs::permissions(fs::path(folder.path).parent_path(), fs::perms::all);
    const auto as_somebody = [this] {
        static_cast<void>(::setresuid(65534, 65534, 65534)); // root may read all
        const auto words = scan();
        const auto told = words.find("Unable to open directory " + folder.path + "/closed\r\n");
        return told != std::string::npos && images().size() == 10'000 && scan().size() < 500 ? 0 : 1;
    };
    EXPECT_EXIT(::_exit(as_somebody()), testing::ExitedWithCode(0), "");
}

TEST_F(Catalogue_test, a_scan_of_another_directory_keeps_what_still_exists)
{
    folder.image("one/a.hex");
    folder.image("two/b.hex");
    scan("/one");
    EXPECT_EQ(scan("/absent"), "Unable to open directory " + folder.path + "/absent\r\n");
    EXPECT_EQ(scan(std::string("/absent\0/one", 12)), "Unable to open directory " + folder.path + "/absent\r\n");
    scan("/two");
    scan("/one");
    EXPECT_THAT(images(), ElementsAre("one/a.hex", "two/b.hex"));
    EXPECT_THAT(catalogue.contents()->directories,
                ElementsAre(folder.path + "/one", folder.path + "/absent", folder.path + "/two"));
}

TEST_F(Catalogue_test, a_file_that_vanishes_before_its_turn_is_invalid)
{
    folder.package("a.zip");
    folder.package("b.zip");
    folder.replace_unzip("rm -f " + folder.path + "/*.zip; exit 9");
    EXPECT_THAT(scan(), HasSubstr("Unable To Find Bootload File\n\r\nUnable To Find Bootload File\n\r\n"
                                  "Error: Invalid update file\r\n"));
    EXPECT_THAT(packages(), IsEmpty());
}

TEST_F(Catalogue_test, an_image_from_elsewhere_is_not_read_again)
{
    const auto own = std::make_shared<HexParser>();
    ASSERT_EQ(own->parse(folder.image("a.hex"), false), 0);
    catalogue.add(own);
    EXPECT_EQ(scan(), "");
    EXPECT_THAT(catalogue.contents()->hex_updates, ElementsAre(own));
}

TEST_F(Catalogue_test, readers_see_whole_contents_while_two_threads_scan)
{
    std::atomic<int> scanning = 2;
    const auto scan_often = [&](const std::string& directory) {
        for (std::size_t round = 0; round < 20; ++round) {
            folder.write(directory + std::to_string(round) + ".hex", "");
            folder.write(directory + "grows.hex", std::string(round, '\n'));
            catalogue.scan_directory(folder.path + directory);
        }
        --scanning;
    };
    testing::internal::CaptureStdout();
    std::thread first(scan_often, "/one/");
    std::thread second(scan_often, "/two/");
    while (scanning > 0) {
        const auto contents = catalogue.contents();
        std::set<std::string> paths;
        for (const auto& update : contents->hex_updates) {
            EXPECT_EQ(update->matches(0, nullptr), -1);
            paths.insert(update->path);
        }
        EXPECT_EQ(paths.size(), contents->hex_updates.size());
        EXPECT_EQ(paths.size(), contents->paths.size());
    }
    first.join();
    second.join();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(catalogue.contents()->hex_updates.size(), 42U);
}

} // namespace
} // namespace qv::can_bus::flr
