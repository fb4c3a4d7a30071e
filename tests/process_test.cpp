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
#include <unistd.h>

#include "bench/harness/bench.h"

namespace {

using namespace std::chrono_literals;
using harness::Bench;
using testing::HasSubstr;
using testing::Not;

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
    const std::string no_file = "Unable To Find Bootload File\n\r\n";
    std::filesystem::create_directory(bench.path("folder"));
    harness::write_file(bench.path("damaged"), ":0100000000FE\n");
    harness::write_file(bench.path("binary"), "\x7F"
                                              "ELF\n:\x01\n"); // a line that looks like a record
    std::vector<std::pair<std::string, bool>> rows{
        // whether it is there
        {bench.path("missing"), false}, {bench.path("folder"), false}, {bench.path("damaged"), true},
        {bench.path("binary"), true},   {"/proc/self/mem", true}, // can be opened and not be read
    };
    if (::geteuid() != 0) { // whom no rights keep out
        harness::write_file(bench.path("locked"), "");
        std::filesystem::permissions(bench.path("locked"), std::filesystem::perms::none);
        rows.emplace_back(bench.path("locked"), false);
    }
    for (const auto& [file, is_there] : rows) {
        const auto service = bench.start_service({"-w", file});
        EXPECT_TRUE(service->says("Error: Invalid update file\r\n")) << file;
        EXPECT_EQ(service->output().find(no_file) == std::string::npos, is_there) << file << service->output();
        EXPECT_TRUE(service->says("Programming Failure!\r\n\r\n")) << file;
        service->signal(SIGTERM);
        EXPECT_EQ(service->ends(), 0) << file;
    }
    const auto exiting = bench.start_service({"-e", "-w", bench.path("missing")});
    EXPECT_TRUE(exiting->says("Programming Failure!"));
    EXPECT_EQ(exiting->ends(), 0);
}

TEST_F(Program, takes_a_text_without_records_for_an_update_that_fits_no_ecu)
{
    const auto ecu = bench.start_ecu();
    for (const char* content : {"", "no record\nin any line\n"}) {
        harness::write_file(bench.path("text"), content);
        const auto service = bench.start_service({"-e", "-w", bench.path("text")});
        EXPECT_TRUE(service->says("Unsupported ECU Encryption Version\r\n")) << content;
        EXPECT_TRUE(service->says("SWiD [2]BLD,A1000")) << content; // an ECU to be programmed is there
        EXPECT_FALSE(service->says("Match found!", 2s)) << content;
        EXPECT_FALSE(service->ends(0s)) << content;
        service->signal(SIGINT);
        EXPECT_EQ(service->ends(), 0) << content;
        EXPECT_THAT(service->output(), Not(HasSubstr("Programming"))) << content;
    }
}

TEST_F(Program, scans_its_own_folder_and_the_last_one_of_its_options_unless_it_is_given_a_file)
{
    const std::string own = "/usr/local/src/bitstreams/isonode";
    const auto update = bench.make_update(10);
    for (const auto& folder : {own.substr(1), std::string("first"), std::string("last")}) {
        std::filesystem::create_directories(bench.path(folder));
        std::filesystem::copy(update, bench.path(folder));
    }
    const auto parsed_in = [](const std::string& folder) { return "Parsing " + folder + "/update.hex...\r\n"; };
    const auto service = bench.start_service({"-v", "-d", bench.path("first"), "--dir=" + bench.path("last")});
    EXPECT_TRUE(service->says(parsed_in(own))) << service->output();
    EXPECT_TRUE(service->says("SoftwareVersion: 2.0.0"));
    EXPECT_TRUE(service->says(parsed_in(bench.path("last"))));
    EXPECT_TRUE(service->says("SoftwareVersion: 2.0.0"));
    EXPECT_TRUE(service->says("Initailize type 0 progress 0\r\n"));
    EXPECT_THAT(service->output(), Not(HasSubstr(parsed_in(bench.path("first")))));
    EXPECT_EQ(bench.order(*service, {"--json", "directories"}),
              "[\n  \"" + own + "\",\n  \"" + bench.path("last") + "\"\n]\n");

    const auto other = bench.start_service({"-d", bench.path("last"), "-w", update});
    EXPECT_TRUE(other->says("Initailize type 0 progress 18\r\n"));
    EXPECT_THAT(other->output(), Not(HasSubstr("Parsing")));
    EXPECT_EQ(bench.order(*other, {"--json", "directories"}), "[]\n");
}

TEST_F(Program, runs_on_with_a_damaged_configuration_and_one_that_cannot_be_written)
{
    if (std::filesystem::exists("/dev/shm/Flintrow")) {
        GTEST_SKIP() << "a service runs here, whose token this one would take away";
    }
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

/// Where a session stands, by what the service says there.
struct Place {
    const char* name;
    const char* words;
    std::vector<std::string> mood = {}; ///< of the ECU or node
    bool has_ecu = true;
};

std::ostream& operator<<(std::ostream& out, const Place& place) { return out << place.name; }

/// The service on a bus of its own with a session, and the signal that comes into it.
struct Interrupted {
    int signal;
    int status;
    Bench bench = {};
    std::unique_ptr<harness::Process> ecu = nullptr, service = nullptr;
};

class Signal_in_state : public testing::TestWithParam<Place> {};

TEST_P(Signal_in_state, ends_the_service)
{
    Interrupted sessions[]{{SIGTERM, 0}, {SIGINT, 0}, {SIGHUP, 255}}; // side by side: each waits real seconds
    for (auto& [signal, status, bench, ecu, service] : sessions) {
        bench.start_router();
        auto options = GetParam().mood;
        options.insert(options.end(), {"--delay-ms", "150"});
        ecu = GetParam().has_ecu ? bench.start_ecu(options) : nullptr;
        service = bench.start_service({"-w", bench.make_update(5000)});
    }
    for (auto& [signal, status, bench, ecu, service] : sessions) {
        EXPECT_TRUE(service->says(GetParam().words, 60s)) << service->output();
        service->signal(signal);
    }
    for (auto& [signal, status, bench, ecu, service] : sessions) {
        EXPECT_EQ(service->ends(20s), status) << service->output();
    }
}

INSTANTIATE_TEST_SUITE_P(states, Signal_in_state,
                         testing::Values(Place{"claim", "Initailize"}, Place{"search", "Adding [249:", {}, false},
                                         Place{"entry", "Enter bootloader"}, Place{"erase", "Starting erase"},
                                         Place{"data", "Programming Image"}, Place{"checksum", "Verifying"},
                                         Place{"reset", "Resetting"}, Place{"return", "Target Found!"},
                                         Place{"success", "Programming Complete"},
                                         Place{"failure", "Programming Failure", {"--checksum-length", "5"}}),
                         [](const auto& row) { return std::string(row.param.name); });

class Signal_in_wireless_state : public testing::TestWithParam<Place> {};

TEST_P(Signal_in_wireless_state, ends_the_service)
{
    for (const auto& [signal, status] : {std::pair{SIGTERM, 0}, {SIGINT, 0}, {SIGHUP, 255}}) {
        Bench bench;
        bench.start_router();
        std::filesystem::create_directory(bench.path("updates"));
        std::filesystem::rename(bench.make_package(1'000'000), bench.path("updates/update.zip"));
        const auto node = bench.start_node(GetParam().mood);
        const auto service = bench.start_service({"-d", bench.path("updates")});
        std::string said;
        for (int turn = 0; turn < 200 && said.find("Updating") == std::string::npos; ++turn) {
            std::this_thread::sleep_for(50ms);
            said = bench.order(*service, {"update", "A000840012E00010"}); // as soon as it knows the ECU
            service->output();                                            // which waits for its reader
        }
        ASSERT_THAT(said, HasSubstr("Updating"));
        ASSERT_TRUE(service->says(GetParam().words, 20s)) << said << service->output() << node->output();
        service->signal(signal);
        ASSERT_EQ(service->ends(20s), status) << service->output() << node->output();
    }
}

INSTANTIATE_TEST_SUITE_P(states, Signal_in_wireless_state,
                         testing::Values(Place{"start", "Starting Transfer", {"--read-rate", "50000"}},
                                         Place{"upload", "Upload progress", {"--read-rate", "50000"}},
                                         Place{"installation", "Starting Install", {"--install", "silent"}},
                                         Place{"return", "WIFI Install Finished", {"--install-polls", "1"}}),
                         [](const auto& row) { return std::string(row.param.name); });

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
