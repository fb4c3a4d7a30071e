#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <utility>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "config/object.h"
#include "config/primary.h"

namespace qv::config {
namespace {

namespace fs = std::filesystem;

const std::string header = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";
const std::string empty_document = header + "<configuration/>\r\n";

/// A document with one key on a line of its own.
std::string with_attribute(const std::string& attribute)
{
    return header + "<configuration\r\n\t\t" + attribute + "/>\r\n";
}

std::string repeated(std::size_t count, const std::string& text)
{
    std::string result;
    result.reserve(count * text.size());
    while (count-- > 0) {
        result += text;
    }
    return result;
}

/// Works on "/config.xml" below a scratch directory, as a user without rights would.
class Configuration_file_test : public testing::Test {
protected:
    Configuration_file_test()
    {
        std::string pattern = (fs::temp_directory_path() / "config_XXXXXX").string();
        directory = mkdtemp(pattern.data());
        setenv("FLINTROW_ROOT", directory.c_str(), 1);
        working_directory = fs::current_path();
        fs::current_path(directory);
    }
    ~Configuration_file_test() override
    {
        fs::current_path(working_directory);
        unsetenv("FLINTROW_ROOT");
        fs::remove_all(directory);
    }

    void put(const std::string& name, const std::string& contents) const
    {
        std::ofstream(directory + name, std::ios::binary) << contents;
    }
    std::string get(const std::string& name) const
    {
        std::ifstream input(directory + name, std::ios::binary);
        return input ? std::string(std::istreambuf_iterator<char>(input), {}) : "(none)";
    }
    bool exists(const std::string& name) const { return fs::exists(directory + name); }

    std::string directory;
    fs::path working_directory;
    Configuration document{"/config.xml", true};
};

TEST_F(Configuration_file_test, the_document_has_one_line_for_each_key)
{
    ASSERT_TRUE(document.load());
    Object* log = document.find_object("log", true);
    document.get_text(log, "path", "<\"./&'>");
    document.get_boolean(log, "enable", false);
    document.get_decimal(log, "level", 0xFFFFFFFF);
    Object* sub = document.find_object("sub", true, log);
    document.get_real_number(sub, "ratio", 1.5F);
    document.get_hexadecimal(sub, "mask", 0xBEEF);
    document.get_binary(sub, "name", Byte_array{0, 0x1A, 0xFF});
    EXPECT_TRUE(document.save(false));
    EXPECT_EQ(get("/config.xml"), header + "<configuration>\r\n"
                                           "\t<log\r\n"
                                           "\t\t\tenable_b=\"false\"\r\n"
                                           "\t\t\tlevel_c=\"-1\"\r\n"
                                           "\t\t\tpath_a=\"&lt;&quot;./&amp;&apos;&gt;\">\r\n"
                                           "\t\t<sub\r\n"
                                           "\t\t\t\tmask_e=\"0000beef\"\r\n"
                                           "\t\t\t\tname_f=\"001aff\"\r\n"
                                           "\t\t\t\tratio_d=\"1.500000e+00\"/>\r\n"
                                           "\t</log>\r\n"
                                           "</configuration>\r\n");
    EXPECT_EQ(get("/config.xml.backup"), get("/config.xml"));

    Configuration again("/config.xml", true);
    ASSERT_TRUE(again.load());
    EXPECT_STREQ(again.get_text(again.find_object("log", false), "path", ""), "<\"./&'>");
    EXPECT_FALSE(again.modified);
}

TEST_F(Configuration_file_test, values_are_read_leniently_and_written_in_one_form)
{
    // clang-format off
    const std::pair<const char*, const char*> rows[] = {
        {"k_b=\"t\"",                "k_b=\"true\""},
        {"k_b=\"True\"",             "k_b=\"false\""},
        {"k_c=\"4294967295\"",       "k_c=\"-1\""},
        {"k_c=\"many\"",             "k_c=\"0\""},
        {"k_d=\"0.25\"",             "k_d=\"2.500000e-01\""},
        {"k_e=\"0xFFf\"",            "k_e=\"00000fff\""},
        {"k_f=\"\"",                 "k_f=\"\""},
        {"k_f=\"AbC\"",              "k_f=\"ab\""},
        {"k_f=\"x1zz\"",             "k_f=\"0100\""},
        {"a_b_a=\"&#x20AC; &lt;\"",  "a_b_a=\"\xE2\x82\xAC &lt;\""},
    };
    // clang-format on
    for (const auto& [read, written] : rows) {
        put("/config.xml", with_attribute(read));
        EXPECT_TRUE(document.load());
        EXPECT_TRUE(document.save(true));
        EXPECT_EQ(get("/config.xml"), with_attribute(written));
    }
}

TEST_F(Configuration_file_test, records_of_one_name_keep_their_order_and_everything_else_is_sorted)
{
    put("/config.xml", header + "<c z_b='t' a_b='t'><x n_c='2'/><b/><x n_c='1'/></c>");
    ASSERT_TRUE(document.load() && document.save(true));
    EXPECT_EQ(get("/config.xml"), header + "<c\r\n\t\ta_b=\"true\"\r\n\t\tz_b=\"true\">\r\n\t<b/>\r\n"
                                           "\t<x\r\n\t\t\tn_c=\"2\"/>\r\n\t<x\r\n\t\t\tn_c=\"1\"/>\r\n</c>\r\n");
}

TEST_F(Configuration_file_test, a_name_with_two_types_becomes_one_key_when_it_is_used)
{
    put("/config.xml", with_attribute("k_a=\"5\" k_c=\"6\" k_b=\"t\""));
    ASSERT_TRUE(document.load());
    EXPECT_EQ(document.get_decimal(document.root.get(), "k", 0), 6U);
    ASSERT_TRUE(document.save(true));
    EXPECT_EQ(get("/config.xml"), with_attribute("k_c=\"6\""));
}

struct Damage {
    const char* what;
    std::string contents;
};

class Damaged_file_test : public Configuration_file_test, public testing::WithParamInterface<Damage> {};

TEST_P(Damaged_file_test, gives_way_to_the_backup_and_without_one_to_the_defaults)
{
    const std::string good = with_attribute("level_c=\"5\"");
    put("/config.xml.backup", good);
    put("/config.xml", GetParam().contents);
    EXPECT_TRUE(document.load());
    EXPECT_EQ(get("/config.xml"), good);
    EXPECT_EQ(document.get_decimal(document.root.get(), "level", 0), 5U);

    put("/config.xml", GetParam().contents);
    put("/config.xml.backup", GetParam().contents);
    EXPECT_TRUE(document.load());
    EXPECT_EQ(get("/config.xml"), empty_document);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Damaged_file_test,
    testing::Values(
        Damage{"name_without_suffix", with_attribute("x=\"1\"")},
        Damage{"unknown_type", with_attribute("x_z=\"1\"")}, Damage{"only_a_suffix", with_attribute("_b=\"t\"")},
        Damage{"empty_boolean", with_attribute("x_b=\"\"")}, Damage{"half_a_byte", with_attribute("x_f=\"1\"")},
        Damage{"failure_below_the_root", header + "<c><d x='1'><e/></d><f/></c>"},
        Damage{"cut", header + "<configuration>"}, Damage{"not_utf_8", with_attribute("x_a=\"\xC3\x28\"")},
        Damage{"nul", with_attribute(std::string("x\0", 2))}, Damage{"garbage", repeated(5000, "\x89PNG\r\n")},
        Damage{"depth_bomb", repeated(1000000, "<a>")},
        Damage{"depth_of_129", repeated(129, "<a>") + repeated(129, "</a>")},
        Damage{"entities_that_multiply", "<!DOCTYPE a [<!ENTITY b '" + repeated(100, "x") + "'><!ENTITY c '" +
                                             repeated(100, "&b;") + "'><!ENTITY d '" + repeated(100, "&c;") +
                                             "'>]><a k_a='&d;'/>"},
        Damage{"an_outside_entity", "<!DOCTYPE a [<!ENTITY b SYSTEM '/etc/passwd'>]><a>&b;</a>"},
        Damage{"a_huge_attribute", "<a k_a='" + repeated(3500000, "x")},
        Damage{"a_huge_file", repeated(5000000, " ") + "<a/>"}),
    [](const auto& row) { return row.param.what; });

TEST_F(Configuration_file_test, the_deepest_document_and_very_many_records_survive_a_round)
{
    put("/config.xml", repeated(128, "<a>") + repeated(128, "</a>"));
    ASSERT_TRUE(document.load());
    EXPECT_TRUE(document.save(true));
    EXPECT_NE(document.find_object(repeated(127, "a/"), false), nullptr);
    EXPECT_NE(document.find_object(repeated(128, "a/"), true), nullptr);
    EXPECT_FALSE(document.save(false)); // one more level could not be read again

    put("/many.xml", "<c>" + repeated(50000, "<x n_c='1'/><b/>") + "</c>");
    EXPECT_TRUE(document.import_file("/many.xml", true, true));
    EXPECT_EQ(document.root->children.size(), 100001U);
}

TEST_F(Configuration_file_test, power_lost_at_any_byte_of_a_save_leaves_a_whole_document)
{
    ASSERT_TRUE(document.load());
    document.set_decimal(document.root.get(), "level", 1);
    ASSERT_TRUE(document.save(false));
    const std::string before = get("/config.xml");
    document.set_text(document.root.get(), "path", "./log");
    ASSERT_TRUE(document.save(false));
    const std::string after = get("/config.xml");

    for (std::size_t length = 0; length <= after.size(); ++length) {
        const std::string part = after.substr(0, length);
        const struct {
            std::string document, backup, temp;
        } rows[] = {
            {before, before, part}, // writing P.temp
            {after, part, ""},      // copying P to P.backup
            {part, before, ""},     // a file system that lost the end of P
        };
        for (const auto& row : rows) {
            put("/config.xml", row.document);
            put("/config.xml.backup", row.backup);
            put("/config.xml.temp", row.temp);
            Configuration next("/config.xml", true);
            ASSERT_TRUE(next.load());
            ASSERT_NE(next.root, nullptr) << length;
            EXPECT_EQ(next.get_decimal(next.root.get(), "level", 0, false), 1U) << length;
        }
    }
}

TEST_F(Configuration_file_test, an_empty_file_is_a_document_without_a_tree_unless_there_is_a_backup)
{
    put("/config.xml", "");
    EXPECT_TRUE(document.load());
    EXPECT_EQ(document.root, nullptr);
    EXPECT_EQ(document.find_object("log", true), nullptr);
    EXPECT_EQ(get("/config.xml"), "");
}

TEST_F(Configuration_file_test, a_save_that_fails_leaves_the_document_and_tries_again)
{
    ASSERT_TRUE(document.load());
    document.set_text(document.root.get(), "path", std::string(1015, 'x').c_str()); // path_a="..." takes 1024
    EXPECT_FALSE(document.save(false));
    EXPECT_TRUE(document.modified);
    EXPECT_EQ(get("/config.xml"), empty_document);
    document.set_text(document.root.get(), "path", std::string(1014, 'x').c_str());
    EXPECT_TRUE(document.save(false));

    document.set_text(document.root.get(), "path", "./log");
    fs::create_directory(directory + "/config.xml.temp");
    EXPECT_FALSE(document.save(false));
    fs::remove(directory + "/config.xml.temp");
    fs::remove(directory + "/config.xml.backup");
    fs::create_directory(directory + "/config.xml.backup");
    EXPECT_FALSE(document.save(false));
    EXPECT_TRUE(document.modified);
    fs::remove(directory + "/config.xml.backup");
    EXPECT_TRUE(document.save(false));
    EXPECT_EQ(get("/config.xml.backup"), with_attribute("path_a=\"./log\""));
}

TEST_F(Configuration_file_test, what_is_no_plain_file_is_never_opened)
{
    fs::create_directory(directory + "/config.xml");
    EXPECT_FALSE(document.load());
    fs::remove(directory + "/config.xml");
    ASSERT_EQ(mkfifo((directory + "/config.xml").c_str(), 0600), 0);
    EXPECT_TRUE(document.load());
    EXPECT_EQ(get("/config.xml"), empty_document);
    EXPECT_FALSE(Configuration("/nowhere/config.xml", true).load());
}

TEST_F(Configuration_file_test, an_import_is_merged_and_removed)
{
    const struct {
        const char* contents; // null: no file
        bool fail_if_missing, result, modified, stays;
        const char* merged;
    } rows[] = {
        {nullptr, false, true, false, false, "/>"},
        {nullptr, true, false, false, false, "/>"},
        {"<other k_b='t'/>", true, true, true, false, "\r\n\t\tk_b=\"true\"/>"},
        {"<other k_b='t'", true, true, true, false, "/>"}, // counts as an empty document
        {"", true, false, true, true, "/>"},
    };
    for (const auto& row : rows) {
        fs::remove(directory + "/config.xml");
        ASSERT_TRUE(document.load());
        if (row.contents != nullptr) {
            put("/import.xml", row.contents);
        }
        EXPECT_EQ(document.import_file("/import.xml", true, row.fail_if_missing), row.result);
        EXPECT_EQ(document.modified, row.modified);
        EXPECT_EQ(exists("/import.xml"), row.stays);
        ASSERT_TRUE(document.save(true));
        EXPECT_EQ(get("/config.xml"), header + "<configuration" + row.merged + "\r\n");
        document.keep_backup = false;
    }
}

TEST_F(Configuration_file_test, two_saves_at_a_time_leave_one_whole_document)
{
    ASSERT_TRUE(document.load());
    document.set_text(document.root.get(), "path", "./log");
    const auto save_often = [](Configuration copy) {
        for (int i = 0; i < 20; ++i) {
            EXPECT_TRUE(copy.save(true));
        }
    };
    std::thread other(save_often, document);
    save_often(document);
    other.join();
    EXPECT_EQ(get("/config.xml"), with_attribute("path_a=\"./log\""));
}

TEST_F(Configuration_file_test, the_primary_configuration_lives_from_create_to_destroy)
{
    put("/configuration_import.xml", "<c level_c='5'/>"); // the working directory is here
    EXPECT_TRUE(create_primary("/config.xml"));
    EXPECT_EQ(get("/config.xml.backup"), empty_document);
    const auto list = primary_configuration();
    ASSERT_NE(list, nullptr);
    EXPECT_TRUE(create_primary("/other.xml"));
    EXPECT_EQ(primary_configuration_pointer(), list.get());
    EXPECT_FALSE(exists("/other.xml"));
    EXPECT_TRUE(list->notify_changes && list->modified);
    destroy_primary();
    EXPECT_EQ(primary_configuration(), nullptr);
    EXPECT_EQ(get("/config.xml"), with_attribute("level_c=\"5\""));
    EXPECT_FALSE(exists("/configuration_import.xml"));

    EXPECT_FALSE(create_primary("/nowhere/config.xml"));
    EXPECT_EQ(primary_configuration(), nullptr);
    EXPECT_FALSE(create_primary("/config.xml"));
    destroy_primary();
}

} // namespace
} // namespace qv::config
