#include <array>
#include <fstream>
#include <set>
#include <tuple>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "framework/file/file_crt.h"
#include "framework/file/find.h"
#include "framework/file/operations.h"
#include "framework/file/path_text.h"
#include "framework/file/properties.h"
#include "framework/file/root.h"
#include "framework/file/scratch_folder.h"
#include "framework/thread/clock.h"

namespace qv::file {
namespace {

/// A directory of its own for each test.
class File_test : public testing::Test {
protected:
    std::string path(const std::string& name) const { return folder_ / name; }
    std::string make(const std::string& name, const std::string& contents) const
    {
        std::ofstream(path(name)) << contents;
        return path(name);
    }
    std::string contents(const std::string& name) const
    {
        std::ifstream file(path(name));
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const test::Scratch_folder folder_;
    const std::string& directory_ = folder_.path();
};

using Texts = std::array<const char*, 3>;

TEST_F(File_test, is_opened_in_the_mode_that_the_number_stands_for)
{
    const std::array<const char*, 10> texts = {"", "rb", "r+b", "wb", "w+b", "ab", "a+b", "", "", "rt"};
    for (std::uint32_t mode = 0; mode < texts.size(); ++mode) {
        EXPECT_EQ(fopen_mode(mode), texts[mode]);
    }
    EXPECT_TRUE(open(make("f", "abc"), 0) == nullptr && open(path("none"), mode::read) == nullptr);
    EXPECT_EQ(printf(*open(path("f"), mode::append), 4, "%s", "defgh"), 5);
    EXPECT_EQ(contents("f"), "abcdef") << "what the buffer holds";
}

TEST_F(File_test, reads_what_is_left_and_knows_its_size)
{
    const auto file = open(make("f", "0123456789\nx"), mode::read);
    EXPECT_EQ(file->seek(3, SEEK_SET), 0);
    EXPECT_EQ(file->size(), 12);
    Byte_array array;
    ASSERT_TRUE(read_into(*file, array, 4)) << "asking for the size does not move";
    EXPECT_EQ(array, (Byte_array{'3', '4', '5', '6'}));
    for (const std::uint32_t left : {5U, 0U}) {
        ASSERT_TRUE(read_into(*file, array, 1000));
        EXPECT_EQ(array.size(), left);
    }
    EXPECT_FALSE(read_into(*open(directory_, mode::read), array, 100)) << "which opens, but cannot be read";
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    EXPECT_FALSE(read_into(*open(path("fifo"), mode::update), array, 100)) << "which has no end";
}

TEST_F(File_test, is_copied_whole_or_reported)
{
    for (const std::size_t size : {0U, 3U, 4096U, 4096U * 2 + 1}) {
        const std::string text(size, 'x');
        EXPECT_TRUE(copy(make("source", text), path("target"), true));
        EXPECT_EQ(contents("target"), text);
    }
    EXPECT_TRUE(copy(path("none"), path("new"), false) && !copy(path("none"), path("new"), true));
    EXPECT_FALSE(Properties(path("new")).is_valid());
    EXPECT_FALSE(copy(path("source"), path("no/where"), false));
    EXPECT_FALSE(copy(directory_, path("new"), false)) << "a read error is no end";
    EXPECT_FALSE(copy(path("source"), "/dev/full", false)) << "the disk is full";
}

TEST_F(File_test, is_cut_down_to_a_part)
{
    const std::string large(5000, 'd');
    // clang-format off
    const std::tuple<long, bool, std::string, bool, std::string> rows[] = {
        {2, false, "abcdef", true, "ef"},       {2, true, "abcdef", true, "ab"},
        {0, true, "abcdef", true, ""},          {6, true, "abcdef", false, "abcdef"},
        {-1, false, "abcdef", false, "abcdef"}, {5000, false, "abc" + large, true, large},
    };
    // clang-format on
    for (const auto& [byte_count, from_start, before, cut, after] : rows) {
        EXPECT_EQ(keep_part(make("f", before), byte_count, from_start), cut) << byte_count;
        EXPECT_EQ(contents("f"), after);
        EXPECT_FALSE(Properties(path("f.qv.temp")).is_valid());
    }
}

TEST_F(File_test, paths_are_made_and_names_changed)
{
    EXPECT_TRUE(make_path(path("a/b//c///")) && make_path(path("a/")));
    EXPECT_TRUE(Properties(path("a/b/c")).directory);
    EXPECT_FALSE(make_path(make("file", "new") + "/below"));
    EXPECT_FALSE(rename(path("file"), make("old", "old"), false));
    EXPECT_EQ(contents("old"), "old");
    EXPECT_TRUE(rename(path("file"), path("old"), true) && symlink("old", path("link")));
    EXPECT_EQ(contents("link"), "new");
    EXPECT_TRUE(remove(path("link")));
    EXPECT_FALSE(remove(path("link")) || rmdir(path("a"))) << "gone, and not empty";
}

TEST_F(File_test, properties_are_read_and_set)
{
    Properties properties(make("f", "abc"));
    properties.modified = 2'000'000;
    time::set_adjusted_time(std::time(nullptr) + 1000);
    for (const bool read_only : {true, false}) {
        properties.read_only = read_only;
        EXPECT_TRUE(apply_properties(path("f"), properties));
        EXPECT_EQ(Properties(path("f")).read_only, read_only);
        EXPECT_EQ(Properties(path("f")).modified, 2'000'000);
    }
    time::set_adjusted_time(std::time(nullptr));
    EXPECT_NEAR(static_cast<double>(Properties(path("f")).modified), 2'000'000 - 1000, 1);
    EXPECT_FALSE(apply_properties(path("f"), Properties(path("none"))));
}

TEST_F(File_test, are_found_by_pattern)
{
    static_cast<void>(make("a.log", "") + make("B.LOG", "") + make(".hidden", ""));
    const auto find = [&](const char* pattern, bool case_sensitive) {
        std::set<std::string> names;
        std::string name;
        const auto search = find_first(name, directory_, pattern, case_sensitive);
        for (bool found = search != nullptr; found; found = find_next(*search, name)) {
            names.insert(name);
        }
        return names;
    };
    EXPECT_EQ(find("*.log", true), (std::set<std::string>{"a.log"}));
    EXPECT_EQ(find("*.log", false), (std::set<std::string>{"a.log", "B.LOG"}));
    EXPECT_EQ(find(pattern_all_files, true).size(), 5U) << "the two dots are among them";
}

TEST(Path_text_test, names_are_taken_apart)
{
    // clang-format off
    for (const auto& [path, name, end] : {
             Texts{"a/b.tar.gz", "b.tar", ".gz"}, {"a/.profile", ".profile", ""}, {"a.d/b", "b", ""}, {"", "", ""},
             {"C:\\dir.x\\f.iop", "f", ".iop"}, {"a/", "", ""}, {"b.", "b", "."}, {".a.b", ".a", ".b"}}) {
        EXPECT_EQ(stem(path), name) << path;
        EXPECT_EQ(extension(path), end) << path;
    }
    // clang-format on
}

TEST(Root_test, stands_in_front_of_absolute_paths_when_it_is_set)
{
    // clang-format off
    for (const auto& [root, path, expected] : {
             Texts{"/tmp/r/", "/etc/x", "/tmp/r/etc/x"}, {"/tmp/r/", "etc/x", "etc/x"}, {"", "/etc/x", "/etc/x"}}) {
        ::setenv("FLINTROW_ROOT", root, 1);
        EXPECT_EQ(rooted(path), expected);
    }
    // clang-format on
    ::unsetenv("FLINTROW_ROOT");
}

} // namespace
} // namespace qv::file
