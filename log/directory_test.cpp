#include "log/directory.h"

#include "framework/file/properties.h"
#include "framework/file/scratch_folder.h"
#include "log/test_kit.h"

namespace qv::log::directory {
namespace {

namespace fs = std::filesystem;

class Directory_test : public testing::Test {
protected:
    void make(const std::string& name, std::time_t modified, int size) const
    {
        std::ofstream(path / name) << std::string(static_cast<std::size_t>(size), 'x');
        file::Properties properties(path / name);
        properties.modified = modified;
        EXPECT_TRUE(file::apply_properties(path / name, properties));
    }
    /// Which of the files 1.log to 5.log stay.
    std::string left_after(const Limits& limits) const
    {
        cleanup(limits, path.string() + "/", '/');
        std::string left;
        for (const char number : {'1', '2', '3', '4', '5'}) {
            left += fs::exists(path / (number + std::string(".log"))) ? std::string{number} : "";
        }
        return left;
    }

    const file::test::Scratch_folder folder;
    const fs::path path = folder.path();
};

/// Files 1 to 5, the last of them the newest, with sizes of 50, 40, 30, 20 and 10 bytes.
TEST_F(Directory_test, keeps_the_newest_files_within_each_limit_and_the_very_newest_in_any_case)
{
    // clang-format off
    const std::pair<Limits, const char*> table[] = {
        {{0, 0, 0}, "12345"},  {{0, 0, 5}, "12345"}, {{0, 0, 2}, "45"}, // no limit; by number
        {{1003, 0, 0}, "345"}, {{9999, 0, 0}, "5"},                     // by time
        {{0, 60, 0}, "345"},   {{0, 59, 0}, "45"},   {{0, 1, 0}, "5"},  // by size: 10 + 20 + 30
        {{1002, 60, 4}, "345"},                                         // whichever comes first
    };
    // clang-format on
    for (const auto& [limits, left] : table) {
        for (const int number : {3, 1, 5, 2, 4}) {
            make(std::to_string(number) + ".log", 1000 + number, 60 - 10 * number);
        }
        EXPECT_EQ(left_after(limits), left);
    }
}

TEST_F(Directory_test, leaves_alone_what_is_no_log_and_keeps_a_file_rather_than_links_to_it)
{
    fs::create_directories(path / "sub.log/inside");
    make("notes.txt", 1, 1);
    make("UPPER.LOG", 1, 1);
    fs::create_symlink("nowhere", path / "dangling.log");
    for (const char* link : {"1.log", "2.log", "4.log"}) {
        fs::create_symlink("3.log", path / link);
    }
    fs::create_symlink("notes.txt", path / "5.log");
    make("3.log", 1001, 1);
    EXPECT_EQ(left_after({0, 0, 1}), "3");
    for (const char* name : {"sub.log/inside", "notes.txt", "UPPER.LOG"}) {
        EXPECT_TRUE(fs::exists(path / name)) << name;
    }
    cleanup({0, 0, 1}, path / "missing", '/');
}

TEST_F(Directory_test, clears_ten_thousand_logs)
{
    for (int number = 0; number < 10'000; ++number) {
        std::ofstream(path / (std::to_string(number) + ".log"));
    }
    cleanup({0, 0, 20}, path, '/');
    EXPECT_EQ(std::distance(fs::directory_iterator(path), {}), 20);
}

} // namespace
} // namespace qv::log::directory
