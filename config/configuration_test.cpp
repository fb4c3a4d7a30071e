#include "config/configuration.h"

#include <array>
#include <cmath>
#include <utility>

#include <gmock/gmock.h>

#include "comm/config_message.h"
#include "comm/master.h"
#include "config/node.h"
#include "config/object.h"

namespace qv::config {
namespace {

class Configuration_test : public testing::Test {
protected:
    Configuration_test() { document.root = std::make_unique<Object>("configuration"); }

    Object* root() { return document.root.get(); }
    /// Whether something changed since the last question.
    bool changed() { return document.modified.exchange(false); }
    /// The tree in one line: "name key=value key=value (child ...)".
    static std::string text(const Object& node)
    {
        std::string result = node.name;
        for (const auto& key : node.keys) {
            result += ' ' + key->name + '=' + value_to_text(*key);
        }
        for (const auto& child : node.children) {
            result += " (" + text(*child) + ')';
        }
        return result;
    }
    std::string text() { return text(*root()); }

    Configuration document{"unused.xml", false};
};

TEST_F(Configuration_test, reading_a_missing_key_creates_it_once)
{
    const std::string path = "./log";
    EXPECT_TRUE(document.get_text(root(), "path", "./log", false) == path && !changed());
    EXPECT_TRUE(document.get_text(root(), "path", "./log") == path && changed());
    EXPECT_TRUE(document.get_text(root(), "path", "elsewhere") == path && !changed());
    EXPECT_EQ(document.get_decimal(nullptr, "level", 7), 7U);
    EXPECT_FALSE(document.set_decimal(nullptr, "level", 7) || changed());
    EXPECT_EQ(document.get_text(root(), "absent", nullptr), nullptr);
}

TEST_F(Configuration_test, a_key_of_another_type_gives_way)
{
    EXPECT_TRUE(document.set_text(root(), "level", "high") && changed());
    EXPECT_EQ(document.get_decimal(root(), "level", 5, false), 5U);
    EXPECT_EQ(text(), "configuration");
    EXPECT_TRUE(document.get_decimal(root(), "level", 5) == 5U && changed());
    EXPECT_TRUE(document.set_hexadecimal(root(), "level", 0xBEEF));
    EXPECT_EQ(text(), "configuration level=0000beef");
}

TEST_F(Configuration_test, only_a_value_that_differs_is_a_change)
{
    for (const bool expected : {true, false}) {
        EXPECT_TRUE(document.set_text(root(), "a", "text") && changed() == expected);
        EXPECT_TRUE(document.set_boolean(root(), "b", true) && changed() == expected);
        EXPECT_TRUE(document.set_decimal(root(), "c", 0xFFFFFFFF) && changed() == expected);
        EXPECT_TRUE(document.set_binary(root(), "f", Byte_array{1, 2}) && changed() == expected);
    }
    EXPECT_EQ(text(), "configuration a=text b=true c=-1 f=0102");
    EXPECT_TRUE(document.set_binary(root(), "f", Byte_array{}) && changed());
    EXPECT_EQ(text(), "configuration a=text b=true c=-1 f=");
}

TEST_F(Configuration_test, a_real_number_changes_from_a_step_of_two_to_the_minus_twenty)
{
    const float step = std::ldexp(1.0F, -20);
    EXPECT_TRUE(document.set_real_number(root(), "ratio", 0.5F) && changed());
    EXPECT_TRUE(document.set_real_number(root(), "ratio", 0.5F + step / 2) && !changed());
    EXPECT_EQ(document.get_real_number(root(), "ratio", 0), 0.5F + step / 2);
    EXPECT_TRUE(document.set_real_number(root(), "ratio", 0.5F + step / 2 + step) && changed());
}

TEST_F(Configuration_test, a_long_number_lies_least_significant_byte_first)
{
    EXPECT_EQ(document.get_binary_u64(root(), "name", 0x0807060504030201), 0x0807060504030201U);
    EXPECT_EQ(text(), "configuration name=0102030405060708");
    EXPECT_TRUE(document.set_binary(root(), "name", Byte_array{1, 2, 3}) &&
                document.get_binary_u64(root(), "name", 42) == 42U);
}

TEST_F(Configuration_test, a_path_is_walked_label_by_label)
{
    Object* deep = document.find_object("a/b c", true);
    EXPECT_TRUE(changed() && text() == "configuration (a (b (c)))");
    for (const char* path : {"a b c", "//a\\b,,c", ";a:b/c", "a/b/c/"}) {
        EXPECT_EQ(document.find_object(path, false), deep) << path;
    }
    EXPECT_EQ(document.find_object("c", false, document.find_object("a/b", false)), deep);
    EXPECT_EQ(document.find_object_by_list({"a", "b", "c"}, false), deep);
    EXPECT_EQ(document.find_object_by_list({}, true, deep), deep);
    for (const char* path : {"", "///", "b", "a/c", "a/b/c/d"}) {
        EXPECT_EQ(document.find_object(path, false), nullptr) << path;
    }
    EXPECT_TRUE(document.find_object("///", true) == nullptr && !changed());
    document.root.reset();
    EXPECT_EQ(document.find_object("a", true), nullptr);
}

TEST_F(Configuration_test, what_the_file_could_not_hold_is_not_made)
{
    for (const char* name : {"", "1a", "-a", "a b", "a=", "<a", "\xC3\xA4"}) {
        EXPECT_EQ(document.get_decimal(root(), name, 3), 3U) << name;
        EXPECT_FALSE(document.set_boolean(root(), name, true)) << name;
        EXPECT_EQ(document.find_object_by_list({name}, true), nullptr) << name;
    }
    for (const char* value : {"\x01", "a\x1F", "\x80", "\xC0\xAF", "\xC3", "\xE0\x80\xAF", "\xED\xA0\x80",
                              "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xEF\xBF\xBF"}) {
        EXPECT_FALSE(document.set_text(root(), "a", value));
        EXPECT_EQ(document.get_text(root(), "a", value), value);
    }
    EXPECT_FALSE(changed());
    EXPECT_TRUE(document.set_text(root(), "a", "\t\x7F\xC3\xA4\xE2\x82\xAC\xF0\x9F\x9A\x9C"));
}

TEST_F(Configuration_test, a_merge_matches_records_by_their_position)
{
    Object source("other");
    for (const std::uint32_t n : {1U, 2U, 3U}) {
        document.set_decimal(source.insert_child("x"), "n", n);
    }
    document.set_boolean(&source, "k", true);
    document.set_text(root(), "k", "old");
    document.set_text(document.find_object("x", true), "t", "kept");
    document.find_object("z", true);
    EXPECT_TRUE(merge(source, *root()));
    EXPECT_TRUE(merge(source, *root())); // again: nothing is added
    EXPECT_EQ(text(), "configuration k=true (x n=1 t=kept) (x n=2) (x n=3) (z)");
    EXPECT_EQ(document.find_object("x", false), root()->children.front().get());
}

TEST_F(Configuration_test, a_change_is_posted_to_the_primary_dispatcher_when_asked_for)
{
    ASSERT_TRUE(comm::core_start(0));
    document.get_boolean(root(), "a", false);
    EXPECT_FALSE(comm::primary_dispatcher()->has_queued());
    document.notify_changes = true;
    document.set_boolean(root(), "a", true);
    EXPECT_TRUE(comm::primary_dispatcher()->has_queued());
    comm::master_stop();
    document.set_boolean(root(), "a", false); // nobody is there: no harm
}

TEST_F(Configuration_test, a_handle_gives_the_geometry_and_makes_what_is_missing)
{
    struct Window : node::Node {
        using Node::Node;
        Rectangle default_geometry() const override { return {1, 2, 3, 4}; }
    };
    Window window(&document, root());
    EXPECT_THAT((std::array{window.x(), window.y(), window.height(), window.width()}),
                testing::ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(text(), "configuration height=3 width=4 x=1 y=2");
    EXPECT_TRUE(document.set_geometry(root(), {5, 6, 7, 8}));
    EXPECT_EQ(text(), "configuration height=7 width=8 x=5 y=6");
    EXPECT_EQ(Window(nullptr).width(), 4U);
}

} // namespace
} // namespace qv::config
