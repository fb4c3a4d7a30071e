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
#include "framework/application/shutdown_signal_handler.h"
#include "framework/atom.h"

namespace qv::application::initializer {
namespace {

namespace fs = std::filesystem;
using run_wrapper::Cascade;
using run_wrapper::Run_wrapper;

/// A layer that notes what it is asked to do, and fails to order.
class Layer final : public Cascade {
public:
    Layer(std::string& notes, std::string name, bool good, std::shared_ptr<Run_wrapper> inner)
        : Cascade(std::move(inner))
        , notes_(notes)
        , name_(std::move(name))
        , good_(good)
    {}
    bool init_own() override
    {
        notes_ += "+" + name_;
        return good_;
    }
    bool deinit_own() override
    {
        notes_ += "-" + name_;
        return good_;
    }

private:
    std::string& notes_;
    std::string name_;
    bool good_;
};

TEST(Cascade_test, goes_inward_to_start_and_outward_to_stop_and_always_stops_all)
{
    struct Case {
        bool a_good, b_good, init, deinit;
        const char* notes;
    };
    for (const auto& row : {Case{true, true, true, true, "+a+b-b-a"}, Case{true, false, false, false, "+a+b-b-a"},
                            Case{false, true, false, false, "+a-b-a"}}) {
        std::string notes;
        Layer a(notes, "a", row.a_good, std::make_shared<Layer>(notes, "b", row.b_good, nullptr));
        EXPECT_EQ(a.init(), row.init);
        EXPECT_EQ(a.run(), -1);
        EXPECT_EQ(a.deinit(), row.deinit);
        EXPECT_EQ(notes, row.notes);
    }
}

TEST(Primal_test, works_its_names_out_of_what_it_was_started_with)
{
    struct Case {
        const char *argv0, *application_name, *given_file, *program, *file;
    };
    const Case table[] = {
        {"/usr/bin/tool", "", "", "/usr/bin/tool", "tool_config.xml"},
        {"./tool.x86", "", "", "./tool.x86", "tool_config.xml"},
        {"/usr/bin/tool", "name", "", "/usr/bin/tool", "name_config.xml"},
        {"", "name", "", "name", "name_config.xml"},
        {"", "", "", "qv_application", "qv_application_config.xml"},
        {nullptr, "", "", "qv_application", "qv_application_config.xml"},
        {"tool", "name", "/etc/file.xml", "tool", "/etc/file.xml"},
    };
    for (const auto& row : table) {
        std::string argument = row.argv0 == nullptr ? "" : row.argv0;
        char* argv[] = {argument.data(), nullptr};
        const Start_parameters start{row.argv0 == nullptr ? 0 : 1, argv, row.application_name, row.given_file};
        const primal::Primal primal(nullptr, {&start, "title", {}, 0});
        EXPECT_EQ(primal.program_name(), row.program);
        EXPECT_EQ(primal.configuration_file(), row.file);
    }
}

/// The innermost layer: notes what is up around it, and runs until the stop comes.
class Application final : public Run_wrapper {
public:
    explicit Application(std::string& notes)
        : notes_(notes)
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
        return qv::comm::start_primary_thread();
    }
    bool deinit() override
    {
        note("deinit");
        observers_.clear();
        return true;
    }

private:
    void on_shutdown(qv::comm::message::Message&) { running_ = false; }
    void note(const char* event)
    {
        const auto primary = qv::comm::primary_dispatcher();
        notes_.append(event).append(primary ? " comm" : "");
        if (primary && primary->take(qv::comm::message::config::Changed::id)) {
            notes_ += " changed";
        }
        notes_ += config::primary_configuration() ? " config" : "";
        notes_ += posix_signal::Handler::active_handler() != nullptr ? " signals|" : "|";
    }

    std::string& notes_;
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

    std::shared_ptr<Run_wrapper> chain(std::uint32_t flags)
    {
        const Application_description description{&start, title, {1, 2, 3, 4}, flags};
        auto inner = std::make_shared<Application>(notes);
        auto components = std::make_shared<components::Components>(std::move(inner), description);
        auto comm = std::make_shared<comm::Comm>(std::move(components), description);
        return std::make_shared<primal::Primal>(std::move(comm), description);
    }
    /// Starts the whole chain and ends it by a signal; gives what it prints.
    std::string run_until(int signal)
    {
        notes.clear();
        testing::internal::CaptureStdout();
        const auto outermost = chain(442);
        EXPECT_TRUE(outermost->init());
        ::raise(signal);
        EXPECT_EQ(outermost->run(), -1);
        EXPECT_TRUE(outermost->deinit());
        EXPECT_EQ(qv::comm::primary_dispatcher(), nullptr);
        return testing::internal::GetCapturedStdout();
    }
    std::string file() const
    {
        std::ifstream stream(start.configuration_file);
        return {std::istreambuf_iterator<char>(stream), {}};
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

TEST_F(Chain_test, starts_everything_stops_on_a_signal_and_saves_the_keys_it_made)
{
    EXPECT_EQ(run_until(SIGTERM), printed(title));
    EXPECT_EQ(notes, "init comm changed config signals|deinit comm config signals|gone|");
    EXPECT_NE(file().find(title), std::string::npos);
}

TEST_F(Chain_test, takes_the_title_from_the_configuration)
{
    run_until(SIGINT);
    auto text = file();
    text.replace(text.find(title), title.size(), other_title);
    std::ofstream(start.configuration_file) << text;
    EXPECT_EQ(run_until(SIGINT), printed(other_title));
    EXPECT_EQ(notes.rfind("init comm config", 0), 0U) << "nothing to save: " << notes;
}

TEST_F(Chain_test, takes_the_layers_down_in_order_when_nobody_calls_deinit)
{
    ASSERT_TRUE(chain(442 & ~flag::print_title_and_version)->init());
    EXPECT_EQ(notes, "init comm changed config signals|gone comm config signals|");
    EXPECT_EQ(qv::comm::primary_dispatcher(), nullptr);
    EXPECT_EQ(config::primary_configuration(), nullptr);
}

TEST_F(Chain_test, starts_nothing_without_flags)
{
    const auto outermost = chain(0);
    EXPECT_FALSE(outermost->init()) << "without a core there is no primary thread";
    EXPECT_TRUE(outermost->deinit());
    EXPECT_EQ(notes, "init|deinit|");
}

TEST_F(Chain_test, prefers_the_signal_handler_that_stops_in_order)
{
    const auto handles = [&](std::uint32_t flags) {
        const Application_description description{&start, "x", {}, flags};
        components::Components components(nullptr, description);
        EXPECT_TRUE(components.init());
        const auto* handler = posix_signal::Handler::active_handler();
        return std::pair(handler != nullptr,
                         dynamic_cast<const posix_signal::handler::shutdown::Shutdown*>(handler) != nullptr);
    };
    EXPECT_EQ(handles(flag::posix_signal_handler), std::pair(true, false));
    EXPECT_EQ(handles(flag::posix_signal_handler | flag::posix_signal_shutdown), std::pair(true, true));
    EXPECT_EQ(handles(0), std::pair(false, false));
}

TEST(Shutdown_signal_test, leaves_the_hangup_to_the_base_class)
{
    EXPECT_EXIT(
        {
            const posix_signal::handler::shutdown::Shutdown handler(posix_signal::type::all);
            ::raise(SIGHUP);
            std::this_thread::sleep_for(std::chrono::seconds(10));
        },
        testing::ExitedWithCode(0xFF), "signal raised: hangup");
}

} // namespace
} // namespace qv::application::initializer
