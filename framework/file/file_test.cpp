#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "framework/file/file_crt.h"
#include "framework/file/find.h"
#include "framework/file/operations.h"
#include "framework/file/path_text.h"
#include "framework/file/properties.h"
#include "framework/file/root.h"
#include "framework/thread/clock.h"

namespace qv::file {
namespace {

/// A directory of its own for each test.
class File_test : public testing::Test {
protected:
    File_test()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "file_test.XXXXXX").string();
        directory_ = ::mkdtemp(pattern.data());
    }
    ~File_test() override { std::filesystem::remove_all(directory_); }

    std::string path(const std::string& name) const { return directory_ + "/" + name; }
    std::string make(const std::string& name, const std::string& contents) const
    {
        std::ofstream(path(name)) << contents;
        return path(name);
    }
    static std::string contents(const std::string& path)
    {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static bool exists(const std::string& path) { return Properties(path).is_valid(); }

    std::string directory_;
};

TEST_F(File_test, is_opened_in_the_mode_that_the_number_stands_for)
{
    const std::array<const char*, 10> texts = {"", "rb", "r+b", "wb", "w+b", "ab", "a+b", "", "", "rt"};
    for (std::uint32_t mode = 0; mode < texts.size(); ++mode) {
        EXPECT_EQ(fopen_mode(mode), texts[mode]);
    }
    const std::string name = make("f", "abc");
    EXPECT_EQ(open(name, 0), nullptr);
    EXPECT_EQ(open(path("none"), mode::read), nullptr);
    EXPECT_EQ(open(name, mode::append)->write("de", 1, 2), 2U);
    EXPECT_EQ(contents(name), "abcde");
}

TEST_F(File_test, reads_what_is_left_and_knows_its_size)
{
    const auto file = open(make("f", "0123456789\nx"), mode::read);
    std::array<char, 4> line{};
    EXPECT_STREQ(file->gets(line.data(), 4), "012");
    EXPECT_EQ(file->size(), 12);
    EXPECT_EQ(file->tell(), 3) << "asking for the size does not move";
    Byte_array array;
    ASSERT_TRUE(read_into(*file, array, 4));
    EXPECT_EQ(array, (Byte_array{'3', '4', '5', '6'}));
    ASSERT_TRUE(read_into(*file, array, 1000));
    EXPECT_EQ(array.size(), 5U);
    ASSERT_TRUE(read_into(*file, array, 1000));
    EXPECT_EQ(array.size(), 0U);

    const auto directory = open(directory_, mode::read);
    ASSERT_NE(directory, nullptr);
    EXPECT_FALSE(read_into(*directory, array, 100)) << "which opens, but cannot be read";
}

TEST_F(File_test, is_copied_whole_or_reported)
{
    const std::string large(4096 * 2 + 1, 'y');
    for (const std::string& text : {std::string(), std::string("abc"), std::string(4096, 'x'), large}) {
        EXPECT_TRUE(copy(make("source", text), path("target"), true));
        EXPECT_EQ(contents(path("target")), text);
    }
    EXPECT_TRUE(copy(path("none"), path("new"), false));
    EXPECT_FALSE(copy(path("none"), path("new"), true));
    EXPECT_FALSE(exists(path("new")));
    EXPECT_FALSE(copy(path("source"), path("no/where"), false));
    EXPECT_FALSE(copy(directory_, path("new"), false)) << "a read error is no end";
    EXPECT_FALSE(copy(path("source"), "/dev/full", false)) << "the disk is full";
}

struct Part_case {
    long byte_count;
    bool from_start;
    bool cut;
    const char* rest;
};

TEST_F(File_test, is_cut_down_to_a_part)
{
    const Part_case rows[] = {
        {2, false, true, "ef"},     {2, true, true, "ab"},       {0, true, true, ""},
        {6, true, false, "abcdef"}, {7, false, false, "abcdef"}, {-1, false, false, "abcdef"},
    };
    for (const Part_case& row : rows) {
        const std::string name = make("f", "abcdef");
        EXPECT_EQ(keep_part(name, row.byte_count, row.from_start), row.cut) << row.byte_count;
        EXPECT_EQ(contents(name), row.rest);
        EXPECT_FALSE(exists(name + ".qv.temp"));
    }
    const std::string large = std::string(5000, 'a') + std::string(5000, 'b');
    EXPECT_TRUE(keep_part(make("f", large), 9000, false));
    EXPECT_EQ(contents(path("f")), large.substr(1000));
    EXPECT_FALSE(keep_part(path("none"), 1, true));
}

TEST_F(File_test, paths_are_made_and_names_changed)
{
    EXPECT_TRUE(make_path(path("a/b//c///")));
    EXPECT_TRUE(Properties(path("a/b/c")).directory);
    EXPECT_TRUE(make_path(path("a/")));
    EXPECT_FALSE(make_path(make("file", "new") + "/below"));
    EXPECT_FALSE(rename(path("file"), make("old", "old"), false));
    EXPECT_EQ(contents(path("old")), "old");
    EXPECT_TRUE(rename(path("file"), path("old"), true));
    EXPECT_TRUE(symlink("old", path("link")));
    EXPECT_EQ(contents(path("link")), "new");
    EXPECT_TRUE(remove(path("link")));
    EXPECT_FALSE(remove(path("link")));
    EXPECT_FALSE(rmdir(path("a")));
}

TEST_F(File_test, properties_are_read_and_set)
{
    const std::string name = make("f", "abc");
    time::set_adjusted_time(std::time(nullptr) + 1000);
    for (const bool read_only : {true, false}) {
        Properties properties(name);
        EXPECT_EQ(properties.size, 3);
        properties.read_only = read_only;
        properties.modified = 2'000'000;
        EXPECT_TRUE(apply_properties(name, properties));
        EXPECT_EQ(Properties(name).read_only, read_only);
        EXPECT_EQ(Properties(name).modified, 2'000'000);
    }
    time::set_adjusted_time(std::time(nullptr));
    EXPECT_NEAR(static_cast<double>(Properties(name).modified), 2'000'000 - 1000, 1);
    EXPECT_FALSE(apply_properties(name, Properties(path("none"))));
}

TEST_F(File_test, are_found_by_pattern)
{
    for (const char* const name : {"a.log", "B.LOG", "c.txt", ".hidden"}) {
        make(name, "");
    }
    const auto find = [&](const char* pattern, bool case_sensitive) {
        std::set<std::string> names;
        std::string name;
        for (auto search = find_first(name, directory_, pattern, case_sensitive); search != nullptr;) {
            names.insert(name);
            if (!find_next(*search, name)) {
                find_close(search);
            }
        }
        return names;
    };
    EXPECT_EQ(find("*.log", true), (std::set<std::string>{"a.log"}));
    EXPECT_EQ(find("*.log", false), (std::set<std::string>{"a.log", "B.LOG"}));
    EXPECT_EQ(find(pattern_all_files, true).size(), 6U) << "the two dots are among them";
    EXPECT_EQ(find("none*", true).size(), 0U);
    std::string name;
    EXPECT_EQ(find_first(name, path("none"), "*", true), nullptr);
}

struct Path_case {
    const char* path;
    const char* stem;
    const char* extension;
};

TEST(Path_text_test, names_are_taken_apart)
{
    const Path_case rows[] = {
        {"a/b.tar.gz", "b.tar", ".gz"},
        {"a/.profile", ".profile", ""},
        {"a.d/b", "b", ""},
        {"C:\\dir.x\\f.iop", "f", ".iop"},
        {"a/", "", ""},
        {"", "", ""},
        {"b.", "b", "."},
        {".a.b", ".a", ".b"},
    };
    for (const Path_case& row : rows) {
        EXPECT_EQ(stem(row.path), row.stem) << row.path;
        EXPECT_EQ(extension(row.path), row.extension) << row.path;
    }
    std::string text;
    append_character(text, '/');
    EXPECT_EQ(text, "");
    text = "a";
    append_character(text, '/');
    append_character(text, '/');
    EXPECT_EQ(text, "a/");
    text = "a///";
    strip_character(text, '/');
    EXPECT_EQ(text, "a");
}

TEST(Root_test, stands_in_front_of_absolute_paths_when_it_is_set)
{
    ::unsetenv("FLINTROW_ROOT");
    EXPECT_EQ(rooted("/etc/x"), "/etc/x");
    ::setenv("FLINTROW_ROOT", "/tmp/r/", 1);
    EXPECT_EQ(rooted("/etc/x"), "/tmp/r/etc/x");
    EXPECT_EQ(rooted("etc/x"), "etc/x");
    ::setenv("FLINTROW_ROOT", "", 1);
    EXPECT_EQ(rooted("/etc/x"), "/etc/x");
    ::unsetenv("FLINTROW_ROOT");
}

} // namespace
} // namespace qv::file
