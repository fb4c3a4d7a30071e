#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <tuple>
#include <utility>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "config/object.h"
#include "config/primary.h"
#include "framework/file/scratch_folder.h"
#include "framework/log/test_kit.h"

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
    for (; count > 0; --count) {
        result += text;
    }
    return result;
}

/// Works on "/config.xml" below a scratch directory, as a user without rights would.
class Configuration_file_test : public testing::Test {
protected:
    Configuration_file_test()
    {
        setenv("FLINTROW_ROOT", directory.c_str(), 1);
        fs::current_path(directory);
    }
    ~Configuration_file_test() override
    {
        fs::current_path("/");
        unsetenv("FLINTROW_ROOT");
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

    const file::test::Scratch_folder folder;
    const std::string directory = folder.path();
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
    EXPECT_EQ(get("/config.xml"), header +
                                      "<configuration>\r\n\t<log\r\n\t\t\tenable_b=\"false\"\r\n"
                                      "\t\t\tlevel_c=\"-1\"\r\n\t\t\tpath_a=\"&lt;&quot;./&amp;&apos;&gt;\">\r\n"
                                      "\t\t<sub\r\n\t\t\t\tmask_e=\"0000beef\"\r\n\t\t\t\tname_f=\"001aff\"\r\n"
                                      "\t\t\t\tratio_d=\"1.500000e+00\"/>\r\n\t</log>\r\n</configuration>\r\n");
    EXPECT_EQ(get("/config.xml.backup"), get("/config.xml"));
}

TEST_F(Configuration_file_test, values_are_read_leniently_and_written_in_one_form)
{
    // clang-format off
    const std::pair<const char*, const char*> rows[] = {
        {"k_b=\"t\"", "k_b=\"true\""}, {"k_b=\"True\"", "k_b=\"false\""},     {"k_f=\"\"", "k_f=\"\""},
        {"k_f=\"AbC\"", "k_f=\"ab\""}, {"k_e=\"0xFFf\"", "k_e=\"00000fff\""}, {"k_f=\"x1zz\"", "k_f=\"0100\""},
        {"k_c=\"4294967295\"", "k_c=\"-1\""},
        {"a_b_a=\"&#x20AC;\t&quot;&amp;&apos;&lt;&gt;\"", "a_b_a=\"\xE2\x82\xAC &quot;&amp;&apos;&lt;&gt;\""},
    };
    // clang-format on
    for (const auto& [read, written] : rows) {
        put("/config.xml", with_attribute(read));
        EXPECT_TRUE(document.load() && !document.modified && document.save(true));
        EXPECT_EQ(get("/config.xml"), with_attribute(written));
    }
}

TEST_F(Configuration_file_test, records_of_one_name_keep_their_order_and_everything_else_is_sorted_by_bytes)
{
    put("/config.xml", header + "<c z_b='t' a_b='t' B_b='t'><x n_c='2' a_b='t'/><b/><x n_c='1'/></c>");
    ASSERT_TRUE(document.load() && document.save(true));
    EXPECT_EQ(get("/config.xml"),
              header + "<c\r\n\t\tB_b=\"true\"\r\n\t\ta_b=\"true\"\r\n\t\tz_b=\"true\">\r\n\t<b/>\r\n"
                       "\t<x\r\n\t\t\ta_b=\"true\"\r\n\t\t\tn_c=\"2\"/>\r\n\t<x\r\n\t\t\tn_c=\"1\"/>\r\n</c>\r\n");
}

TEST_F(Configuration_file_test, a_name_with_two_types_becomes_one_key_when_it_is_used)
{
    put("/config.xml", with_attribute("k_a=\"5\" k_c=\"6\" k_b=\"t\""));
    EXPECT_TRUE(document.load() && document.get_decimal(document.root.get(), "k", 0) == 6U && document.save(true));
    EXPECT_EQ(get("/config.xml"), with_attribute("k_c=\"6\""));
}

TEST_F(Configuration_file_test, a_damaged_file_gives_way_to_the_backup_and_without_one_to_the_defaults)
{
    const std::string entities = "<!DOCTYPE a [<!ENTITY b '" + repeated(100, "x") + "'><!ENTITY c '" +
                                 repeated(100, "&b;") + "'><!ENTITY d '" + repeated(100, "&c;") + "'>]>";
    const std::pair<const char*, std::string> rows[] = {
        {"no suffix", with_attribute("x=\"1\"")},
        {"unknown type", with_attribute("x_z=\"1\"")},
        {"only a suffix", with_attribute("_b=\"t\"")},
        {"empty boolean", with_attribute("x_b=\"\"")},
        {"half a byte", with_attribute("x_f=\"1\"")},
        {"failure below the root", header + "<c><d x='1'><e/></d><f/></c>"},
        {"not UTF-8", with_attribute("x_a=\"\xC3\x28\"")},
        {"depth bomb", repeated(1000000, "<a>")},
        {"depth of 129", repeated(129, "<a>") + repeated(129, "</a>")},
        {"entities that multiply", entities + "<a k_a='&d;'/>"},
        {"a huge attribute", "<a k_a='" + repeated(3500000, "x")},
        {"a huge file", repeated(5000000, " ") + "<a/>"},
    };
    const std::string good = with_attribute("level_c=\"5\"");
    for (const auto& [what, contents] : rows) {
        for (const auto& [backup, expected] : {std::pair{good, good}, std::pair{contents, empty_document}}) {
            put("/config.xml.backup", backup);
            put("/config.xml", contents);
            const log::test::Lines log;
            EXPECT_TRUE(document.load()) << what;
            EXPECT_THAT(log.lines, testing::Contains("2 0 reading configuration file /config.xml failed")) << what;
            EXPECT_EQ(get("/config.xml"), expected) << what;
            EXPECT_EQ(document.get_decimal(document.root.get(), "level", 0), expected == good ? 5U : 0U) << what;
        }
    }
}

TEST_F(Configuration_file_test, the_deepest_document_and_very_many_records_survive_a_round)
{
    put("/config.xml", repeated(128, "<a>") + repeated(128, "</a>"));
    EXPECT_TRUE(document.load() && document.save(true));
    EXPECT_NE(document.find_object(repeated(127, "a/"), false), nullptr);
    EXPECT_NE(document.find_object(repeated(128, "a/"), true), nullptr);
    EXPECT_FALSE(document.save(false)); // one more level could not be read again
    put("/many.xml", "<c>" + repeated(20000, "<x n_c='1'/><b/>") + "</c>");
    EXPECT_TRUE(document.import_file("/many.xml", true, true));
    EXPECT_EQ(document.root->children.size(), 40001U);
}

TEST_F(Configuration_file_test, power_lost_at_any_byte_of_a_save_leaves_a_whole_document)
{
    const std::string before = with_attribute("level_c=\"1\"");
    const std::string after = with_attribute("level_c=\"1\"\r\n\t\tpath_a=\"./log\"");
    for (std::size_t length = 0; length <= after.size(); ++length) {
        const std::string part = after.substr(0, length);
        const std::string rows[][3] = {
            {before, before, part}, // writing P.temp
            {after, part, ""},      // copying P to P.backup
            {part, before, ""},     // a file system that lost the end of P
        };
        for (const auto& [file, backup, temp] : rows) {
            put("/config.xml", file);
            put("/config.xml.backup", backup);
            put("/config.xml.temp", temp);
            Configuration next("/config.xml", true);
            ASSERT_TRUE(next.load() && next.root != nullptr) << length;
            EXPECT_EQ(next.get_decimal(next.root.get(), "level", 0, false), 1U) << length;
        }
    }
}

TEST_F(Configuration_file_test, an_empty_file_is_a_document_without_a_tree_unless_there_is_a_backup)
{
    put("/config.xml", "");
    EXPECT_TRUE(document.load() && document.root == nullptr);
    EXPECT_EQ(get("/config.xml"), "");
}

TEST_F(Configuration_file_test, a_save_that_fails_leaves_the_document_and_tries_again)
{
    ASSERT_TRUE(document.load());
    const auto set_path = [this](std::size_t length) {
        return document.set_text(document.root.get(), "path", std::string(length, 'x').c_str());
    };
    EXPECT_TRUE(set_path(1015) && !document.save(false) && document.modified); // path_a="..." takes 1024
    EXPECT_EQ(get("/config.xml"), empty_document);
    EXPECT_TRUE(set_path(1014) && document.save(false));
    for (const char* obstacle : {"/config.xml.temp", "/config.xml.backup"}) {
        fs::remove(directory + obstacle);
        fs::create_directory(directory + obstacle);
        EXPECT_TRUE(set_path(3) && !document.save(false) && document.modified) << obstacle;
        fs::remove(directory + obstacle);
    }
    EXPECT_TRUE(document.save(false));
    EXPECT_EQ(get("/config.xml.backup"), with_attribute("path_a=\"xxx\""));
}

TEST_F(Configuration_file_test, what_is_no_plain_file_is_never_opened)
{
    fs::create_directory(directory + "/config.xml");
    const log::test::Lines log;
    EXPECT_FALSE(document.load());
    EXPECT_THAT(log.lines, testing::Contains("2 0 file open error /config.xml"));
    fs::remove(directory + "/config.xml");
    ASSERT_EQ(mkfifo((directory + "/config.xml").c_str(), 0600), 0);
    EXPECT_TRUE(document.load());
    EXPECT_EQ(get("/config.xml"), empty_document);
    EXPECT_FALSE(Configuration("/nowhere/config.xml", true).load());
}

TEST_F(Configuration_file_test, an_import_is_merged_and_removed)
{
    /// The import, "-" for none, and whether it has to be there; the result, whether it changed something and
    /// whether it stays; what is in the document then.
    const std::tuple<std::string, bool, bool, bool, bool, const char*> rows[] = {
        {"-", false, true, false, false, "/>"},
        {"-", true, false, false, false, "/>"},
        {"<other k_b='t'/>", true, true, true, false, "\r\n\t\tk_b=\"true\"/>"},
        {"<other k_b='t'", true, true, true, false, "/>"}, // counts as an empty document
        {"", true, false, true, true, "/>"},
    };
    for (const auto& [contents, has_to_be_there, result, modified, stays, merged] : rows) {
        Configuration target("/config.xml", false);
        fs::remove(directory + "/config.xml");
        ASSERT_TRUE(target.load());
        if (contents != "-") {
            put("/import.xml", contents);
        }
        EXPECT_EQ(target.import_file("/import.xml", true, has_to_be_there), result);
        EXPECT_EQ(target.modified, modified);
        EXPECT_EQ(get("/import.xml"), stays ? "" : "(none)");
        EXPECT_TRUE(target.save(true));
        EXPECT_EQ(get("/config.xml"), header + "<configuration" + merged + "\r\n");
    }
}

TEST_F(Configuration_file_test, a_disk_that_fills_up_at_any_byte_leaves_the_old_document)
{
    ASSERT_TRUE(document.load());
    ASSERT_TRUE(document.set_decimal(document.root.get(), "level", 1));
    const std::string after = with_attribute("level_c=\"1\"");
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    ::getrlimit(RLIMIT_FSIZE, &former);
    for (std::size_t room = 0; room < after.size(); ++room) {
        const rlimit limit{room, former.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_TRUE(!document.save(false) && document.modified) << room;
        EXPECT_EQ(get("/config.xml"), empty_document);
    }
    ::setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, handler);
    EXPECT_TRUE(document.save(false));
    EXPECT_EQ(get("/config.xml"), after);
}

TEST_F(Configuration_file_test, two_saves_at_a_time_leave_one_whole_document)
{
    const std::string texts[] = {with_attribute("path_a=\"x\""),
                                 with_attribute("path_a=\"" + repeated(900, "y") + "\"")};
    const auto save_often = [](Configuration copy) {
        for (int i = 0; i < 20; ++i) {
            EXPECT_TRUE(copy.save(true));
        }
    };
    put("/config.xml", texts[1]);
    ASSERT_TRUE(document.load());
    const Configuration first = document;
    ASSERT_TRUE(document.set_text(document.root.get(), "path", "x"));
    std::atomic_bool saving = true;
    std::thread other([&] {
        save_often(first);
        save_often(document);
        saving = false;
    });
    save_often(document);
    save_often(first);
    while (saving) {
        EXPECT_THAT(texts, testing::Contains(get("/config.xml")));
    }
    other.join();
    EXPECT_THAT(texts, testing::Contains(get("/config.xml")));
}

TEST_F(Configuration_file_test, an_older_copy_never_takes_the_place_of_a_newer)
{
    ASSERT_TRUE(document.load());
    EXPECT_TRUE(document.set_decimal(document.root.get(), "level", 1));
    const auto older = document.take_changes();
    EXPECT_TRUE(document.set_decimal(document.root.get(), "level", 2));
    const auto newer = document.take_changes();
    EXPECT_TRUE(newer->save(false) && older->save(false) && !document.modified);
    EXPECT_EQ(get("/config.xml"), with_attribute("level_c=\"2\""));
}

TEST_F(Configuration_file_test, a_process_that_dies_while_it_saves_leaves_the_old_or_the_new_document)
{
    ASSERT_TRUE(document.load());
    for (int round = 0; round < 20; ++round) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (std::uint32_t value = 0;; ++value) {
                document.set_decimal(document.root.get(), "level", value);
                static_cast<void>(document.save(false));
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2 + round));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        const auto text = get("/config.xml");
        EXPECT_TRUE(text == empty_document || text.ends_with("\"/>\r\n")) << text;
        EXPECT_TRUE(document.load());
    }
}

TEST_F(Configuration_file_test, the_primary_configuration_lives_from_create_to_destroy)
{
    put("/configuration_import.xml", "<c level_c='5'/>"); // the working directory is here
    EXPECT_TRUE(create_primary("/config.xml"));
    const auto list = primary_configuration();
    ASSERT_NE(list, nullptr);
    EXPECT_TRUE(create_primary("/other.xml") && primary_configuration() == list);
    EXPECT_TRUE(list->notify_changes && list->modified);
    destroy_primary();
    EXPECT_EQ(primary_configuration(), nullptr);
    EXPECT_EQ(get("/config.xml"), with_attribute("level_c=\"5\""));
    EXPECT_EQ(get("/configuration_import.xml") + get("/other.xml"), "(none)(none)");

    EXPECT_FALSE(create_primary("/nowhere/config.xml") || primary_configuration() != nullptr);
    EXPECT_FALSE(create_primary("/config.xml")); // a failed load is not tried again
    destroy_primary();
}

} // namespace
} // namespace qv::config
