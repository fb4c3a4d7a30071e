#include <array>
#include <filesystem>

#include <unistd.h>

#include <gtest/gtest.h>

#include "comm/config_message.h"
#include "comm/master.h"
#include "config/primary.h"
#include "framework/application/comm.h"
#include "framework/application/components.h"
#include "framework/application/primal.h"
#include "framework/atom.h"
#include "framework/signal/handler.h"

namespace qv::application::initializer {
namespace {

using run_wrapper::Run_wrapper;

TEST(Primal_test, works_its_names_out_of_what_it_was_started_with)
{
    /// The first argument, the application's name and a file that are given; the program's name and its file.
    std::array<std::string, 5> table[] = {
        {"/usr/bin/tool.x86", "", "", "/usr/bin/tool.x86", "tool_config.xml"},
        {"/usr/bin/tool", "name", "", "/usr/bin/tool", "name_config.xml"},
        {"", "name", "", "name", "name_config.xml"},
        {"", "", "", "qv_application", "qv_application_config.xml"},
        {"tool", "name", "/etc/file.xml", "tool", "/etc/file.xml"},
    };
    for (auto& [argument, name, given_file, program, file] : table) {
        char* argv[] = {argument.data(), nullptr};
        const Start_parameters start{1, argv, name, given_file};
        const primal::Primal primal(nullptr, {&start, "title", {}, 0});
        EXPECT_EQ(primal.program_name(), program);
        EXPECT_EQ(primal.configuration_file(), file);
    }
}

/// The innermost layer: notes what is up around it.
class Application final : public Run_wrapper {
public:
    Application(std::string& notes, bool good)
        : notes_(notes)
        , good_(good)
    {}
    ~Application() override { note("gone"); }
    bool init() override
    {
        note("init");
        return qv::comm::start_primary_thread() && good_;
    }
    int run() override { return -1; }
    bool deinit() override
    {
        note("deinit");
        return good_;
    }

private:
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
};

/// The first chain comes up and is just let go; the innermost layer of the second fails.
TEST(Chain_test, takes_the_layers_down_in_order_without_deinit_and_after_a_failure)
{
    const std::string title = "Chain test " + std::to_string(::getpid()); // tests run side by side
    const auto directory = std::filesystem::temp_directory_path() / title;
    std::filesystem::create_directories(directory);
    const Start_parameters start{0, nullptr, "", (directory / "config.xml").string()};
    const Application_description description{&start, title, {1, 2, 3, 4}, 442};
    std::string notes;
    for (const bool good : {true, false}) {
        {
            auto inner = std::make_shared<Application>(notes, good);
            auto components = std::make_shared<components::Components>(std::move(inner), description);
            auto comm = std::make_shared<comm::Comm>(std::move(components), description);
            primal::Primal outermost(std::move(comm), description);
            EXPECT_EQ(outermost.init(), good);
            EXPECT_TRUE(good || !outermost.deinit());
        }
        EXPECT_EQ(posix_signal::Handler::active_handler(), nullptr);
        EXPECT_EQ(qv::comm::primary_dispatcher(), nullptr);
        EXPECT_EQ(config::primary_configuration(), nullptr);
    }
    EXPECT_EQ(notes, "init comm changed config signals|gone comm config signals|"
                     "init comm config signals|deinit comm config signals|gone|");
    std::filesystem::remove_all(directory);
    Atom(title).remove();
}

} // namespace
} // namespace qv::application::initializer
