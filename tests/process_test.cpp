// The program as its user meets it: command line, files, signals, a router that comes and goes.

#include <csignal>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include "bench/harness/bench.h"

namespace {

using namespace std::chrono_literals;
using harness::Bench;
using testing::HasSubstr;

constexpr const char* usage =
    "flintrow: An ISO programming utility\nUsage: flintrow [OPTION...]\n\n"
    "  -v, --verbose        Increase verbosity\n  -w, --write=FILE     File to bootload\n";

class Program : public testing::Test {
protected:
    void SetUp() override { bench.start_router(); }
    Bench bench;
};

TEST_F(Program, tells_its_usage_after_a_wrong_option)
{
    for (const char* option : {"-h", "--nonsense", "-w"}) {
        const auto service = bench.start_service({option});
        EXPECT_EQ(service->ends(), 1) << option;
        EXPECT_THAT(service->output(), HasSubstr(usage)) << option;
    }
}

TEST_F(Program, starts_with_its_title_and_ends_with_it)
{
    const auto service = bench.start_service({"-q"});
    EXPECT_TRUE(service->says("Initailize type 0 progress 0\r\n"));
    service->signal(SIGTERM);
    EXPECT_EQ(service->ends(), 0);
    const auto title = bench.title() + " 2.12.15.424\n";
    EXPECT_THAT(service->output(), HasSubstr("Starting iso client...\r\n" + title));
    EXPECT_THAT(service->output(), testing::EndsWith(title));
    EXPECT_NE(service->output().find(title), service->output().rfind(title));
}

TEST_F(Program, fills_its_configuration_file)
{
    const auto service = bench.start_service({});
    EXPECT_TRUE(service->says("Initailize"));
    service->signal(SIGINT);
    EXPECT_EQ(service->ends(), 0);
    const auto text = harness::read_file(bench.configuration_path());
    EXPECT_THAT(text, HasSubstr("source_address_preferred_c=\"249\""));
    EXPECT_THAT(text, HasSubstr("\r\n\t\t\t\t\tmanufacturer_code_c=\"151\""));
    EXPECT_EQ(harness::read_file(bench.configuration_path() + ".backup"), text);
}

TEST_F(Program, saves_new_settings_while_it_runs)
{
    const auto service = bench.start_service({});
    EXPECT_TRUE(service->says("Initailize"));
    std::string text;
    for (int turn = 0; turn < 500 && text.find("source_address_preferred_c=\"249\"") == std::string::npos;
         ++turn) {
        std::this_thread::sleep_for(20ms);
        text = harness::read_file(bench.configuration_path());
    }
    service->signal(SIGKILL);
    EXPECT_EQ(service->ends(), -SIGKILL);
    EXPECT_THAT(text, HasSubstr("source_address_preferred_c=\"249\""));
    EXPECT_THAT(harness::read_file(bench.configuration_path()), testing::EndsWith("</configuration>\r\n"));
}

TEST_F(Program, says_what_is_wrong_with_an_update_file)
{
    std::filesystem::create_directory(bench.path("folder"));
    harness::write_file(bench.path("damaged"), ":0100000000FE\n");
    harness::write_file(bench.path("binary"), std::string("\x7F"
                                                          "ELF\n:\0\0\0\n",
                                                          10));
    for (const char* name : {"missing", "folder", "damaged", "binary"}) {
        const auto service = bench.start_service({"-w", bench.path(name)});
        EXPECT_TRUE(service->says("Error: Invalid update file\r\n")) << name;
        EXPECT_TRUE(service->says("Programming Failure!\r\n\r\n")) << name;
        service->signal(SIGTERM);
        EXPECT_EQ(service->ends(), 0) << name;
    }
}

TEST_F(Program, runs_on_with_a_damaged_configuration_and_one_that_cannot_be_written)
{
    harness::write_file(bench.configuration_path(), "<configuration><Flintrow enable_b=");
    const auto damaged = bench.start_service({});
    EXPECT_FALSE(damaged->says("Initailize", 1s)) << "the settings went back to their defaults";
    damaged->signal(SIGTERM);
    EXPECT_EQ(damaged->ends(), 0);
    EXPECT_THAT(harness::read_file(bench.configuration_path()), HasSubstr("enable_b=\"false\""));

    const auto folder = std::filesystem::path(bench.configuration_path()).parent_path();
    std::filesystem::remove_all(folder);
    harness::write_file(folder.string(), "a file in the folder's place");
    const auto unwritable = bench.start_service({});
    EXPECT_FALSE(unwritable->says("Initailize", 1s));
    unwritable->signal(SIGTERM);
    EXPECT_EQ(unwritable->ends(), 0);
    ::shm_unlink("Flintrow"); // the token by the title that no configuration replaced
}

TEST_F(Program, ends_by_signal_with_the_status_of_its_type)
{
    const auto service = bench.start_service({});
    EXPECT_TRUE(service->says("Initailize"));
    service->signal(SIGHUP);
    EXPECT_EQ(service->ends(), 255); // minus 1, the type of a hang-up
    EXPECT_THAT(service->output(), HasSubstr("\nsignal raised: hangup\n"));
}

/// Enables the log beside the settings that stand.
void enable_log(const Bench& bench)
{
    auto text = harness::read_file(bench.configuration_path());
    const std::string end = "</configuration>";
    text.replace(text.find(end), end.size(),
                 "<log enable_b=\"true\" path_a=\"" + bench.path("log") + "\"/>" + end);
    harness::write_file(bench.configuration_path(), text);
}

/// The names in the list that ends a log, whose numbers have to rise from 0.
std::vector<std::string> clients_of(const std::string& log)
{
    std::istringstream lines(log.substr(log.find("\nclient 0 ") + 1));
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        const auto start = "client " + std::to_string(names.size()) + " '";
        EXPECT_TRUE(line.starts_with(start) && line.ends_with('\'')) << line;
        names.push_back(line.substr(start.size(), line.size() - start.size() - 1));
    }
    return names;
}

TEST_F(Program, leaves_a_log_with_its_clients_however_it_ends_and_keeps_twenty)
{
    enable_log(bench);
    std::filesystem::create_directory(bench.path("log"));
    for (int number = 0; number < 25; ++number) {
        const auto old = bench.path("log/old" + std::to_string(number) + ".log");
        harness::write_file(old, "old");
        std::filesystem::last_write_time(old, std::filesystem::file_time_type::clock::now() - 1h);
    }
    for (const auto& [signal, told] :
         {std::pair{SIGTERM, "closing log\n"}, {SIGSEGV, "terminated by signal #256\n"}}) {
        const auto service = bench.start_service({});
        EXPECT_TRUE(service->says("Adding [249:")); // by then all have their numbers
        service->signal(signal);
        EXPECT_EQ(service->ends(), 0);
        const auto log = harness::read_file(bench.path("log/" + bench.title() + ".log"));
        EXPECT_TRUE(log.starts_with("\xEF\xBB\xBF" + bench.title() + " 2.12.15.424 - " + bench.title() + "_2"));
        EXPECT_THAT(log, HasSubstr("    0    0  client 0 'default client' registered\n"));
        EXPECT_THAT(log, HasSubstr(told));
        EXPECT_THAT(log, testing::ContainsRegex("    5  +[0-9]+  CAN bus open  CAN bus router client "
                                                "127.0.0.1:[0-9]+ ok\n"));
        EXPECT_THAT(clients_of(log),
                    testing::UnorderedElementsAre("default client", "CAN bus", "comm configuration writer",
                                                  "CAN bus hardware library: CAN bus router client",
                                                  "comm shutdown handler"));
        EXPECT_LE(std::distance(std::filesystem::directory_iterator(bench.path("log")), {}), 22);
    }
}

TEST_F(Program, ends_when_its_token_is_removed)
{
    const auto service = bench.start_service({});
    EXPECT_TRUE(service->says("Initailize"));
    ASSERT_EQ(::shm_unlink(bench.title().c_str()), 0);
    EXPECT_EQ(service->ends(5s), 0);
}

TEST_F(Program, moves_to_another_address_when_its_own_is_taken)
{
    // A NAME below the service's wins the preferred address; 128 is the next one to try.
    const auto ecu = bench.start_ecu({"--name", "0000000000000001", "--address", "249"});
    EXPECT_TRUE(ecu->says("claimed"));
    const auto service = bench.start_service({"-v"});
    EXPECT_TRUE(service->says("[0x80] ")) << service->output();
}

TEST_F(Program, survives_a_router_that_restarts_in_the_middle_of_an_update)
{
    const auto update = bench.make_update(30000);
    auto ecu = bench.start_ecu({"--write-ms", "100"});
    const auto service = bench.start_service({"-w", update, "-e"});
    EXPECT_TRUE(service->says("Programming Image", 30s));
    bench.stop_router();
    std::this_thread::sleep_for(1s);
    bench.start_router();
    // Either the transport's retries carry it over the gap, or the exchange is given up with the words for it.
    EXPECT_TRUE(service->says("Programming ", 60s));
    EXPECT_TRUE(service->says("Programming Complete!", 60s) ||
                service->output().find("MemoryAccess Timeout: Aborting\r\n") != std::string::npos)
        << service->output();
    EXPECT_EQ(service->ends(30s), 0);
}

/// Signals in every state of a session: the service ends in time, whatever the state.
class Signal_in_state : public Program, public testing::WithParamInterface<const char*> {};

TEST_P(Signal_in_state, ends_the_service)
{
    const auto update = bench.make_update(30000);
    const auto ecu = bench.start_ecu({"--delay-ms", "150"});
    const auto service = bench.start_service({"-w", update});
    EXPECT_TRUE(service->says(GetParam(), 60s)) << service->output() << ecu->output();
    service->signal(SIGTERM);
    EXPECT_EQ(service->ends(10s), 0) << service->output();
}

INSTANTIATE_TEST_SUITE_P(states, Signal_in_state,
                         testing::Values("Initailize", "Enter bootloader", "Starting erase", "Programming Image",
                                         "Verifying", "Resetting", "Programming Complete"));

TEST_F(Program, starts_and_stops_many_times_without_a_hang)
{
    for (int round = 0; round < 20; ++round) {
        const auto service = bench.start_service({"-q"});
        if (round % 2 == 0) {
            ASSERT_TRUE(service->says("Initailize"));
        } else {
            std::this_thread::sleep_for(round * 3ms);
        }
        service->signal(SIGTERM);
        const auto status = service->ends(10s);
        ASSERT_TRUE(status == 0 || (round % 2 == 1 && status == -SIGTERM))
            << "round " << round << ", status " << status.value_or(999) << "\n"
            << service->output();
    }
}

} // namespace
