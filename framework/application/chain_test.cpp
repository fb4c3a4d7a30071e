#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <unistd.h>

#include <gtest/gtest.h>

#include "comm/broker.h"
#include "comm/config_message.h"
#include "comm/master.h"
#include "comm/shutdown_message.h"
#include "config/primary.h"
#include "framework/application/comm.h"
#include "framework/application/components.h"
#include "framework/application/primal.h"
#include "framework/atom.h"
#include "framework/signal/handler.h"

namespace qv::application::initializer {
namespace {

namespace fs = std::filesystem;
using run_wrapper::Run_wrapper;

TEST(Primal_test, works_its_names_out_of_what_it_was_started_with)
{
    struct Case {
        const char *argv0, *application_name, *given_file, *program, *file;
    };
    const Case table[] = {
        {"/usr/bin/tool.x86", "", "", "/usr/bin/tool.x86", "tool_config.xml"},
        {"/usr/bin/tool", "name", "", "/usr/bin/tool", "name_config.xml"},
        {"", "name", "", "name", "name_config.xml"},
        {"", "", "", "qv_application", "qv_application_config.xml"},
        {"tool", "name", "/etc/file.xml", "tool", "/etc/file.xml"},
    };
    for (const auto& row : table) {
        std::string argument = row.argv0;
        char* argv[] = {argument.data(), nullptr};
        const Start_parameters start{1, argv, row.application_name, row.given_file};
        const primal::Primal primal(nullptr, {&start, "title", {}, 0});
        EXPECT_EQ(primal.program_name(), row.program);
        EXPECT_EQ(primal.configuration_file(), row.file);
    }
}

/// The innermost layer: notes what is up around it, and runs until the stop comes.
class Application final : public Run_wrapper {
public:
    Application(std::string& notes, bool good)
        : notes_(notes)
        , good_(good)
    {}
    ~Application() override { note("gone"); }
    int run() override
    {
        while (running_) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return -1;
    }
    bool init() override
    {
        note("init");
        observers_.add(qv::comm::observer::make_broker<qv::comm::message::shutdown::Application>(
            this, &Application::on_shutdown, qv::comm::primary_dispatcher_id()));
        return qv::comm::start_primary_thread() && good_;
    }
    bool deinit() override
    {
        note("deinit");
        observers_.clear();
        return good_;
    }

private:
    void on_shutdown(qv::comm::message::Message&) { running_ = false; }
    void note(const char* event)
    {
        const auto primary = qv::comm::primary_dispatcher();
        bool changed = false;
        while (primary && primary->take(qv::comm::message::config::Changed::id)) {
            changed = true;
        }
        notes_.append(event).append(primary ? " comm" : "").append(changed ? " changed" : "");
        notes_ += config::primary_configuration() ? " config" : "";
        notes_ += posix_signal::Handler::active_handler() != nullptr ? " signals|" : "|";
    }

    std::string& notes_;
    const bool good_;
    std::atomic<bool> running_{true};
    qv::comm::observer::Observer_list observers_;
};

class Chain_test : public testing::Test {
protected:
    Chain_test()
    {
        fs::remove_all(directory);
        fs::create_directories(directory);
    }
    ~Chain_test() override
    {
        fs::remove_all(directory);
        Atom(title).remove();
        Atom(other_title).remove();
    }

    std::shared_ptr<Run_wrapper> chain(bool good = true)
    {
        const Application_description description{&start, title, {1, 2, 3, 4}, 442};
        auto inner = std::make_shared<Application>(notes, good);
        auto components = std::make_shared<components::Components>(std::move(inner), description);
        auto comm = std::make_shared<comm::Comm>(std::move(components), description);
        return std::make_shared<primal::Primal>(std::move(comm), description);
    }
    /// Starts the whole chain and ends it by a signal; gives what it prints.
    std::string run_until(int signal)
    {
        notes.clear();
        testing::internal::CaptureStdout();
        const auto outermost = chain();
        EXPECT_TRUE(outermost->init());
        ::raise(signal);
        EXPECT_EQ(outermost->run(), -1);
        EXPECT_TRUE(outermost->deinit());
        EXPECT_EQ(qv::comm::primary_dispatcher(), nullptr);
        return testing::internal::GetCapturedStdout();
    }
    /// What a run prints that is called so.
    static std::string printed(const std::string& name)
    {
        const std::string line = name + " 1.2.3.4\n";
        return line + line;
    }

    const std::string process = std::to_string(::getpid()); // tests run side by side
    const std::string title = "Chain test " + process;
    const std::string other_title = "Our tool " + process;
    const fs::path directory = fs::temp_directory_path() / ("chain_test_" + process);
    const Start_parameters start{0, nullptr, "", (directory / "config.xml").string()};
    std::string notes;
};

/// The first run makes the keys of the file; the second finds another title in them.
TEST_F(Chain_test, starts_everything_and_stops_on_a_signal_under_the_title_of_the_configuration)
{
    EXPECT_EQ(run_until(SIGTERM), printed(title));
    EXPECT_EQ(notes, "init comm changed config signals|deinit comm config signals|gone|");
    std::ifstream stream(start.configuration_file);
    std::string text{std::istreambuf_iterator<char>(stream), {}};
    ASSERT_NE(text.find(title), std::string::npos);
    text.replace(text.find(title), title.size(), other_title);
    std::ofstream(start.configuration_file) << text;
    EXPECT_EQ(run_until(SIGINT), printed(other_title));
    EXPECT_EQ(notes.rfind("init comm config", 0), 0U) << "nothing to save: " << notes;
}

/// The first chain comes up and is just let go; the innermost layer of the second fails.
TEST_F(Chain_test, takes_the_layers_down_in_order_without_deinit_and_after_a_failure)
{
    for (const bool good : {true, false}) {
        {
            const auto outermost = chain(good);
            EXPECT_EQ(outermost->init(), good);
            EXPECT_TRUE(good || !outermost->deinit());
        }
        EXPECT_EQ(posix_signal::Handler::active_handler(), nullptr);
        EXPECT_EQ(qv::comm::primary_dispatcher(), nullptr);
        EXPECT_EQ(config::primary_configuration(), nullptr);
    }
    EXPECT_EQ(notes, "init comm changed config signals|gone comm config signals|"
                     "init comm config signals|deinit comm config signals|gone|");
}

} // namespace
} // namespace qv::application::initializer
