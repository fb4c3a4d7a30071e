#include "comm/config_writer/config_writer.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include "comm/config_message.h"
#include "comm/shutdown_message.h"
#include "comm/test_kit.h"
#include "comm/thread_message.h"
#include "comm/time_message.h"
#include "config/primary.h"
#include "framework/file/scratch_folder.h"

namespace qv::comm {
namespace {

namespace fs = std::filesystem;
using message::shutdown::Application;
using message::shutdown::Trigger;
using message::thread_handle::Thread_handle;
using message::time_elapsed::Milliseconds_020;

/// A primary configuration in a directory of its own, and a writer whose time the test makes.
class Config_writer_test : public test::Core_test {
protected:
    Config_writer_test()
    {
        ::setenv("FLINTROW_ROOT", directory.c_str(), 1);
        EXPECT_TRUE(handlers_start("", flag::thread_handle) && config::create_primary("/config.xml"));
        listen<Thread_handle>(primary, [this](message::Message& message) {
            const auto& report = dynamic_cast<Thread_handle&>(message);
            (report.finished ? finished : started).insert(report.handle);
        });
        ears_.add(handler::Config_writer::make(primary->id()));
    }
    ~Config_writer_test() override
    {
        ears_.clear();
        master_stop(); // waits for the threads that write
        config::destroy_primary();
        ::unsetenv("FLINTROW_ROOT");
    }

    void change()
    {
        const auto list = config::primary_configuration();
        EXPECT_TRUE(list->set_decimal(list->root.get(), "key", ++value));
    }
    /// The writes that begin with so many messages.
    template <class Message_type> std::size_t writes_at(unsigned count = 1)
    {
        const std::size_t before = started.size();
        for (; count > 0; --count) {
            pass<Message_type>(primary);
        }
        return started.size() - before;
    }
    std::size_t writes_within(unsigned milliseconds) { return writes_at<Milliseconds_020>(milliseconds / 20); }
    /// What the file holds when all threads that write have ended.
    bool file_has(unsigned expected)
    {
        while (finished.size() < started.size()) {
            primary->process_queue();
        }
        std::ifstream stream(directory / "config.xml");
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        return text.find("key_c=\"" + std::to_string(expected) + "\"") != std::string::npos;
    }

    const file::test::Scratch_folder folder;
    const fs::path directory = folder.path();
    std::set<std::shared_ptr<thread::Handle>> started;
    std::set<std::shared_ptr<thread::Handle>> finished;
    unsigned value = 0;
};

TEST_F(Config_writer_test, writes_half_a_second_after_a_change_and_ten_seconds_after_a_write)
{
    EXPECT_EQ(writes_within(2000), 0U);
    change();
    EXPECT_EQ(writes_within(300), 0U);
    change(); // the first one counts
    EXPECT_EQ(writes_within(180), 0U);
    EXPECT_EQ(writes_within(20), 1U);
    EXPECT_TRUE(file_has(2) && !config::primary_configuration()->modified);
    EXPECT_EQ(writes_within(2000), 0U);
    change();
    EXPECT_EQ(writes_within(7980), 0U);
    EXPECT_TRUE(file_has(2));
    EXPECT_EQ(writes_within(20), 1U);
    EXPECT_TRUE(file_has(3));
    std::size_t writes = 0;
    for (unsigned tick = 0; tick < 60'000 / 20; ++tick) {
        change();
        writes += writes_within(20);
    }
    EXPECT_EQ(writes, 6U);
}

TEST_F(Config_writer_test, writes_at_once_before_a_stop)
{
    EXPECT_EQ(writes_at<Trigger>(), 0U);
    change();
    EXPECT_EQ(writes_at<Trigger>(), 1U);
    EXPECT_EQ(writes_at<Application>(), 0U);
    change();
    EXPECT_EQ(writes_at<Application>(), 1U);
    ears_.clear();
    master_stop();
    EXPECT_FALSE(config::primary_configuration()->modified);
    started.clear();
    EXPECT_TRUE(file_has(2));
}

TEST_F(Config_writer_test, leaves_to_the_next_save_what_could_not_be_written)
{
    config::destroy_primary();
    primary->post(std::make_unique<message::config::Changed>());
    EXPECT_EQ(writes_within(10'500), 0U); // there is no configuration
    ASSERT_TRUE(config::create_primary("/config.xml"));
    fs::create_symlink("/dev/full", directory / "config.xml.temp");
    change();
    EXPECT_EQ(writes_within(500), 1U);
    EXPECT_FALSE(file_has(1));
    EXPECT_TRUE(config::primary_configuration()->modified);
    EXPECT_EQ(writes_within(20'000), 0U);
    fs::remove(directory / "config.xml.temp");
    config::destroy_primary();
    EXPECT_TRUE(file_has(1));
}

TEST_F(Config_writer_test, saves_while_another_thread_changes_settings)
{
    std::thread other([this] {
        for (int turn = 0; turn < 1000; ++turn) {
            change();
        }
    });
    while (!file_has(1000)) {
        primary->post(std::make_unique<message::config::Changed>());
        pass<Trigger>(primary);
    }
    other.join();
}

} // namespace
} // namespace qv::comm
