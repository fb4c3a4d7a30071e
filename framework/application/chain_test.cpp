#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include <gmock/gmock.h>

#include "comm/config_message.h"
#include "comm/master.h"
#include "config/primary.h"
#include "framework/application/comm.h"
#include "framework/application/components.h"
#include "framework/application/primal.h"
#include "framework/atom.h"
#include "framework/file/scratch_folder.h"
#include "framework/signal/handler.h"

namespace qv::application::initializer {
namespace {

namespace fs = std::filesystem;
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

/// A run with a title and a folder of its own; tests run side by side.
class Chain_test : public testing::Test {
protected:
    ~Chain_test() override { Atom(title).remove(); }
    primal::Primal chain_around(std::shared_ptr<Run_wrapper> inner) const
    {
        auto components = std::make_shared<components::Components>(std::move(inner), description);
        return {std::make_shared<comm::Comm>(std::move(components), description), description};
    }

    const file::test::Scratch_folder folder{"Chain test"};
    const std::string title = folder.name();
    const fs::path file = folder / "config.xml";
    const Start_parameters start{0, nullptr, "", file.string()};
    const Application_description description{&start, title, {1, 2, 3, 4}, 442};
    std::string notes;
};

/// The first chain comes up and is just let go; the innermost layer of the second fails.
TEST_F(Chain_test, takes_the_layers_down_in_order_without_deinit_and_after_a_failure)
{
    for (const bool good : {true, false}) {
        {
            auto outermost = chain_around(std::make_shared<Application>(notes, good));
            EXPECT_EQ(outermost.init(), good);
            EXPECT_TRUE(good || !outermost.deinit());
        }
        EXPECT_EQ(posix_signal::Handler::active_handler(), nullptr);
        EXPECT_EQ(qv::comm::primary_dispatcher(), nullptr);
        EXPECT_EQ(config::primary_configuration(), nullptr);
    }
    EXPECT_EQ(notes, "init comm changed config signals|gone comm config signals|"
                     "init comm config signals|deinit comm config signals|gone|");
}

/// The one wait for the writer's real times.
TEST_F(Chain_test, has_a_changed_key_in_the_file_half_a_second_later_and_ten_seconds_after_the_last_write)
{
    using namespace std::chrono_literals;
    auto outermost = chain_around(std::make_shared<Application>(notes, true));
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(outermost.init());
    const auto document = config::primary_configuration();
    const auto saved_after = [&](unsigned value) {
        EXPECT_TRUE(document->set_decimal(document->root.get(), "key", value));
        const auto wanted = "key_c=\"" + std::to_string(value) + "\"";
        std::chrono::duration<double> waited{};
        std::string text;
        do {
            std::this_thread::sleep_for(10ms);
            std::ifstream stream(file);
            text = {std::istreambuf_iterator<char>(stream), {}};
            waited = std::chrono::steady_clock::now() - begin;
        } while (text.find(wanted) == std::string::npos && waited < 30s);
        return waited;
    };
    EXPECT_THAT(saved_after(1), testing::AllOf(testing::Ge(0.5s), testing::Lt(9s)));
    EXPECT_THAT(saved_after(2), testing::AllOf(testing::Ge(10.5s), testing::Lt(20s)));
}

} // namespace
} // namespace qv::application::initializer
