// The control interface as its callers meet it: whole sessions of the running service over its port, over the bus
// and over a wireless node, and callers that mean no good.

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <random>
#include <thread>

#include <FlintrowThrift.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <thrift/TOutput.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TSocket.h>
#include <unistd.h>

#include "bench/harness/bench.h"
#include "bench/harness/raw_connection.h"

namespace {

using namespace std::chrono_literals;
using namespace apache::thrift;
using namespace flintrow;
using harness::Process;
using harness::Raw_connection;
using testing::ElementsAre;
using testing::HasSubstr;
using Clock = std::chrono::steady_clock;
using Words = std::vector<std::string>;
using States = std::vector<eStates::type>;

constexpr std::int64_t nobody = 1; ///< a NAME that no ECU has

std::unique_ptr<FlintrowThriftClient> connect_to(std::uint16_t port)
{
    auto socket = std::make_shared<transport::TSocket>("127.0.0.1", port);
    socket->setRecvTimeout(20000);
    const auto buffered = std::make_shared<transport::TBufferedTransport>(socket);
    buffered->open();
    return std::make_unique<FlintrowThriftClient>(std::make_shared<protocol::TBinaryProtocol>(buffered));
}

class Rpc : public testing::Test {
protected:
    void SetUp() override
    {
        GlobalOutput.setOutputFunction([](const char*) {});
        bench.start_router();
    }

    void start_service(const Words& options = {"-q"}, const std::string& program = "")
    {
        service = bench.start_service(options, program);
        port = service->listens().value();
        api = connect_to(port);
    }
    /// Starts it as a user whom `limit` limits: root may have any number of threads.
    void start_limited_service()
    {
        const auto program = bench.path("flintrow");
        std::filesystem::copy_file(FLINTROW_BIN_DIR "/flintrow", program);
        harness::write_file(bench.path("start"), "#!/bin/sh\n" + as_user + program + " -q\n");
        std::filesystem::permissions(bench.path(""), std::filesystem::perms::all); // he has to reach the program
        for (const auto& file : std::filesystem::recursive_directory_iterator(bench.path(""))) {
            if (!file.is_symlink()) {
                std::filesystem::permissions(file, std::filesystem::perms::all);
            }
        }
        start_service({}, bench.path("start"));
    }
    /// Sets a limit of the running service: "nproc=1:".
    void limit(const std::string& resource)
    {
        const auto id = std::to_string(service->id());
        ASSERT_EQ(run({"/bin/bash", "-c", as_user + "prlimit --pid " + id + " --" + resource}), 0) << said;
    }
    /// Puts an update file into the folder that is scanned; its path there.
    std::string offer(const std::string& file) const
    {
        std::filesystem::create_directory(updates());
        const auto place = updates() / std::filesystem::path(file).filename();
        std::filesystem::rename(file, place);
        return place;
    }
    std::filesystem::path updates() const { return bench.path("updates"); }

    /// The first ECU, as soon as the service knows that this version is on offer for it.
    ecuInfo ecu_with(const std::string& update)
    {
        std::vector<ecuInfo> list;
        for (const auto end = Clock::now() + 20s; Clock::now() < end; std::this_thread::sleep_for(20ms)) {
            service->output(); // its pipe does not fill
            list.clear();
            api->GetECUList(list);
            if (!list.empty() && list[0].sUpdateVersion == update) {
                return list[0];
            }
        }
        ADD_FAILURE() << "no ECU with update '" << update << "': " << service->output();
        return {};
    }

    stInfo status()
    {
        stInfo info;
        api->GetStatus(info);
        return info;
    }

    /// Watches the session to its end and calls `visit` with each report of it. The states in their order.
    States follow(const std::function<void(const stInfo&)>& visit = {})
    {
        States seen;
        for (const auto end = Clock::now() + 120s; Clock::now() < end; std::this_thread::sleep_for(5ms)) {
            service->output();
            const auto info = status();
            if (seen.empty()) {
                seen.push_back(eStates::BL_START); // it may be over before the first look
            }
            if (seen.back() != info.state) {
                seen.push_back(info.state);
            }
            if (info.state == eStates::BL_FAILURE || info.state == eStates::BL_COMPLETE_ACK) {
                return seen;
            }
            if (visit) {
                visit(info);
            }
        }
        ADD_FAILURE() << "the session does not end: " << service->output();
        return seen;
    }

    /// In a state other than idle.
    void expect_refusals(const stInfo& info, std::int64_t name)
    {
        EXPECT_EQ(api->UpdateECU(name), -1) << info.state;
        EXPECT_EQ(api->UpdateECU(nobody), -1) << info.state;
        EXPECT_EQ(api->UpdateECUVersion(name, "2.0.0"), -1) << info.state;
        EXPECT_EQ(api->ScanDirectory(updates()), -1) << info.state;
        EXPECT_TRUE(service->says("Error: Unable to scan while bootload is in progress\r\n")) << info.state;
        EXPECT_EQ(api->ClearECUList(), -1) << info.state;
        EXPECT_EQ(api->Shutdown(), -1) << info.state;
        EXPECT_TRUE(info.__isset.progress && info.progress >= 0 && info.progress <= 100) << info.progress;
        EXPECT_EQ(info.__isset.error, info.state == eStates::BL_COMPLETE || info.state == eStates::BL_FAILURE);
        EXPECT_FALSE(info.__isset.message);
    }

    /// Runs the client of the command line; its exit status.
    int ctl(const Words& arguments)
    {
        Words words{FLINTROW_BIN_DIR "/flintrowctl", "--port", std::to_string(port)};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return run(words);
    }
    /// Runs a client to its end; its exit status.
    int run(const Words& words)
    {
        Process process(words);
        std::optional<int> result;
        for (const auto end = Clock::now() + 100s; !result && Clock::now() < end;) {
            result = process.ends(100ms);
            service->output(); // its pipe does not fill
        }
        said = process.output();
        return result.value_or(-1000);
    }

    harness::Bench bench;
    std::unique_ptr<Process> ecu, node, service;
    std::uint16_t port = 0;
    std::unique_ptr<FlintrowThriftClient> api;
    std::string said; ///< by the client that ran last
    const std::string as_user = ::geteuid() == 0 ? "exec setpriv --reuid=65534 --clear-groups " : "exec ";
};

TEST_F(Rpc, the_command_line_client_takes_an_ecu_from_one_version_to_the_next)
{
    offer(bench.make_update(5000));
    ecu = bench.start_ecu({"--version", "1.0.0"});
    start_service();
    EXPECT_EQ(ctl({"scan", updates()}), 0) << said;
    ecu_with("2.0.0");
    EXPECT_EQ(ctl({"list"}), 0);
    EXPECT_THAT(said, testing::ContainsRegex("\n0x80 +a0088400ffe00001 +[^ ]+ +1.0.0 +2.0.0\n"));
    EXPECT_EQ(ctl({"update", "0x80", "--follow"}), 0) << said << service->output();
    EXPECT_THAT(said, HasSubstr("The update is complete."));
    EXPECT_TRUE(bench.flash() == bench.program());
    EXPECT_EQ(ctl({"acknowledge"}), 11) << "done by update --follow";
    EXPECT_EQ(ctl({"show", "0x80"}), 0);
    EXPECT_THAT(said, HasSubstr("installed         2.0.0\n"));
    EXPECT_EQ(ctl({"shutdown"}), 0) << said;
    EXPECT_EQ(service->ends(5s), 0) << service->output();
}

TEST_F(Rpc, tells_why_an_update_does_not_start)
{
    const auto package = offer(bench.make_package(1000));
    const auto incomplete = package + "-without-a-member";
    std::filesystem::copy_file(package, incomplete);
    std::filesystem::resize_file(package, 500);
    harness::write_file(updates() / "damaged.hex", ":\n");
    const auto update = offer(bench.make_update(3000));
    ecu = bench.start_ecu();
    start_service();
    ASSERT_EQ(run({"/usr/bin/zip", "-qd", incomplete, "version"}), 0) << said;
    const auto name = ecu_with("").CANName;
    EXPECT_EQ(api->UpdateECU(nobody), -3);
    EXPECT_EQ(api->UpdateECUVersion(nobody, "2.0.0"), -3);
    EXPECT_EQ(api->UpdateECU(name), -2);
    EXPECT_TRUE(service->says("No hex file found for selection\r\n"));
    EXPECT_EQ(api->ScanDirectory(updates() / "none"), 0);
    EXPECT_TRUE(service->says("Unable to open directory " + (updates() / "none").string() + "\r\n"));
    EXPECT_EQ(api->ScanDirectory(updates()), 0);
    for (int file = 0; file < 3; ++file) {
        EXPECT_TRUE(service->says("Error: Invalid update file\r\n"));
    }
    EXPECT_EQ(ecu_with("2.0.0").stUpdateVersions, Words{"2.0.0"});
    EXPECT_EQ(api->UpdateECUVersion(name, "2.0"), -2);
    EXPECT_TRUE(service->says("No update of version [2.0] found\n"));
    std::filesystem::rename(bench.make_update(3000, "2.5.0"), update);
    EXPECT_EQ(api->UpdateECU(name), -2);
    EXPECT_TRUE(service->says(update + " is not what the last scan found there\n"));
    harness::write_file(update, ":0100000000FE\n");
    EXPECT_EQ(api->UpdateECU(name), -2);
    EXPECT_TRUE(service->says("Error Parsing Bootload File\r\n"));
    std::filesystem::remove(update);
    EXPECT_EQ(api->UpdateECU(name), -2);
    EXPECT_TRUE(service->says("Unable To Find Bootload File\n\r\nError Parsing Bootload File\r\n"));
    EXPECT_EQ(api->UpdateComplete(), -1);
    EXPECT_EQ(status().state, eStates::BL_IDLE);

    EXPECT_EQ(api->ClearECUList(), 0);
    EXPECT_EQ(api->UpdateECU(name), -3);
    EXPECT_EQ(ecu_with("2.0.0").CANName, name) << "it was asked to claim again";
}

TEST_F(Rpc, tells_images_and_packages_for_one_ecu_and_updates_it_with_images_alone)
{
    offer(bench.make_package(1000));
    ecu = bench.start_ecu({"--part-number", "A1000-B2000"});
    start_service();
    struct Row {
        const char *image, *preferred; ///< versions
        int update;                    ///< result of UpdateECU
    };
    for (const auto& row : {Row{"1.0.0", "3.0.0", -2}, {"10.0.0", "10.0.0", 0}}) {
        offer(bench.make_update(3000, row.image));
        EXPECT_EQ(api->ScanDirectory(updates()), 0);
        const auto both = ecu_with(row.preferred);
        EXPECT_EQ(both.stUpdateVersions, (Words{row.image, "3.0.0"}));
        EXPECT_EQ(api->UpdateECUVersion(both.CANName, "3.0.0"), -2);
        EXPECT_TRUE(service->says("No update of version [3.0.0] found\n"));
        EXPECT_EQ(api->UpdateECU(both.CANName), row.update);
    }
}

TEST_F(Rpc, refuses_in_each_state_of_a_session_what_would_disturb_it)
{
    offer(bench.make_update(3000));
    ecu = bench.start_ecu({"--delay-ms", "150", "--busy", "1", "--busy-step", "write"});
    start_service();
    EXPECT_EQ(api->ScanDirectory(updates()), 0);
    const auto name = ecu_with("2.0.0").CANName;
    EXPECT_EQ(api->UpdateECU(name), 0);
    const auto states = follow([&](const stInfo& info) {
        expect_refusals(info, name);
        if (info.state != eStates::BL_COMPLETE) { // the next state could be there by now
            EXPECT_EQ(api->UpdateComplete(), -1) << info.state;
        }
        Words folders;
        api->ListDirectories(folders);
        EXPECT_EQ(folders.back(), updates());
        ecuID id;
        api->GetECUID(id, name);
        EXPECT_EQ(id.PN, "A1000");
    });
    EXPECT_THAT(states, ElementsAre(eStates::BL_START, eStates::BL_BOOTLOADER_PENDING, eStates::BL_BOOTLOADER,
                                    eStates::BL_ERASING, eStates::BL_PROGRAMMING, eStates::BL_READ_CHECKSUM,
                                    eStates::BL_RESTART, eStates::BL_RESTART_PENDING, eStates::BL_COMPLETE,
                                    eStates::BL_COMPLETE_ACK));
    expect_refusals(status(), name);
    EXPECT_THAT(service->output(), HasSubstr("Busy\t\t: \r\n"));
    EXPECT_TRUE(bench.flash() == bench.program());
    EXPECT_EQ(api->UpdateComplete(), 0);
    EXPECT_EQ(status().state, eStates::BL_IDLE);
    EXPECT_EQ(api->UpdateComplete(), -1);
    EXPECT_EQ(ecu_with("2.0.0").sCurrentVersion, "2.0.0");
}

/// Sessions at another bit rate. The service sets it on "can1", of which a machine without it only tells; a
/// machine that has it may need it.
class Other_rate : public Rpc {
protected:
    void SetUp() override
    {
        if (::if_nametoindex("can1") != 0) {
            GTEST_SKIP() << "can1 is there, and would be changed";
        }
        Rpc::SetUp();
    }
    void update_an_ecu(const Words& options)
    {
        offer(bench.make_update(3000));
        ecu = bench.start_ecu(options);
        start_service({"-q", "-b", "500000"});
        EXPECT_EQ(api->ScanDirectory(updates()), 0);
        EXPECT_EQ(api->UpdateECU(ecu_with("2.0.0").CANName), 0);
    }
};

TEST_F(Other_rate, looks_idle_to_callers_while_it_is_agreed_on)
{
    update_an_ecu({"--delay-ms", "150", "--busy", "1", "--busy-step", "rate"});
    auto states = follow([this](const stInfo& info) { expect_refusals(info, nobody); });
    EXPECT_EQ(states.back(), eStates::BL_COMPLETE_ACK) << service->output();
    states.resize(5);
    EXPECT_THAT(states, ElementsAre(eStates::BL_START, eStates::BL_BOOTLOADER_PENDING, eStates::BL_IDLE,
                                    eStates::BL_BOOTLOADER_PENDING, eStates::BL_BOOTLOADER));
    EXPECT_THAT(ecu->output(), HasSubstr("bit rate 500000\n"));
    EXPECT_THAT(service->output(), HasSubstr("Busy\t\t: \r\n"));
}

TEST_F(Other_rate, fails_a_session_whose_ecu_does_not_answer)
{
    update_an_ecu({"--delay-ms", "150", "--silent", "rate"});
    EXPECT_THAT(follow(), ElementsAre(eStates::BL_START, eStates::BL_BOOTLOADER_PENDING, eStates::BL_IDLE,
                                      eStates::BL_FAILURE));
    EXPECT_EQ(status().error, 2);
    EXPECT_THAT(service->output(), testing::AllOf(HasSubstr("MemoryAccess Timeout: Aborting\r\n"),
                                                  testing::Not(HasSubstr("Change local baud"))));
}

TEST_F(Other_rate, ends_with_the_service_when_the_ecu_refuses_it)
{
    update_an_ecu({"--refuse", "rate"});
    EXPECT_TRUE(service->says("MA Failed\t\t: \r\nMemory access bootload error! \r\n;")) << service->output();
    EXPECT_EQ(service->ends(), 0);
}

struct Fault {
    const char* name;
    Words ecu;
    int code;
};

std::ostream& operator<<(std::ostream& out, const Fault& fault) { return out << fault.name; }

class Failed_session : public Rpc, public testing::WithParamInterface<Fault> {};

TEST_P(Failed_session, keeps_its_code_until_it_is_acknowledged)
{
    offer(bench.make_update(3000));
    ecu = bench.start_ecu(GetParam().ecu);
    start_service();
    EXPECT_EQ(ctl({"scan", updates()}), 0);
    ecu_with("2.0.0");
    EXPECT_EQ(ctl({"update", "0x80"}), 0) << said;
    EXPECT_EQ(ctl({"follow"}), 10) << said;
    EXPECT_THAT(said, HasSubstr("the update failed, code " + std::to_string(GetParam().code) + ": "));
    EXPECT_EQ(status().error, GetParam().code);
    for (const Words& command : {Words{"update", "0x80"}, {"shutdown"}, {"clear"}, {"scan", updates()}}) {
        EXPECT_EQ(ctl(command), 6) << command[0] << said;
    }
    EXPECT_EQ(ctl({"acknowledge"}), 0);
    EXPECT_EQ(ctl({"update", "0x80"}), 0) << said;
}

INSTANTIATE_TEST_SUITE_P(faults, Failed_session,
                         testing::Values(Fault{"checksum_of_five_bytes", {"--checksum-length", "5"}, 2},
                                         Fault{"silent_at_the_reset", {"--silent", "reset"}, 2},
                                         Fault{"does_not_return", {"--no-return"}, 11}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(Rpc, a_caller_loses_the_service_when_the_ecu_refuses_a_step)
{
    offer(bench.make_update(3000));
    ecu = bench.start_ecu({"--refuse", "erase"});
    start_service();
    EXPECT_EQ(ctl({"scan", updates()}), 0);
    ecu_with("2.0.0");
    EXPECT_EQ(ctl({"update", "0x80", "--follow"}), 5) << said;
    EXPECT_EQ(service->ends(), 0) << service->output();
}

TEST_F(Rpc, a_python_client_drives_a_session)
{
    offer(bench.make_update(3000));
    ecu =
        bench.start_ecu({"--version", "1.0.0", "--serial", "4711", "--location", "Gr\xFCn", "--type", "Sprayer"});
    start_service();
    EXPECT_EQ(run({"/usr/bin/python3", RPC_CLIENT, RPC_MODULES, std::to_string(port), updates()}), 0) << said;
    EXPECT_TRUE(bench.flash() == bench.program());
    EXPECT_EQ(service->ends(5s), 0) << service->output();
}

/// How a node behaves, and what the caller is told.
struct Mood {
    const char* name;
    Words node;
    int error = 0;          ///< of the failed session; 0: it succeeds
    const char* words = ""; ///< that the service prints
    std::size_t size = 100'000;
    std::string resolve = {}; ///< where the node's name leads to, when not to the node
    bool deleted = false;     ///< the package, after the scan
    std::string host = "node-1.local";
    int uploaded = 0; ///< percent that the caller sees at least while the package is on its way
};

std::ostream& operator<<(std::ostream& out, const Mood& mood) { return out << mood.name; }

using Wireless_package = Rpc;

class Wireless_session : public Rpc, public testing::WithParamInterface<Mood> {
protected:
    void start_node(const Mood& mood)
    {
        Words options{"--install-polls", "2"};
        options.insert(options.end(), mood.node.begin(), mood.node.end());
        node = bench.start_node(options, mood.host);
        if (!mood.resolve.empty()) {
            ::setenv("FLINTROW_RESOLVE", (mood.host + ":80:" + mood.resolve).c_str(), 1);
        }
    }
};

TEST_P(Wireless_session, ends_as_the_node_would_have_it)
{
    const auto& mood = GetParam();
    const auto package = offer(bench.make_package(mood.size));
    const auto sent = harness::read_file(package);
    start_node(mood);
    start_service();
    EXPECT_EQ(api->ScanDirectory(updates()), 0);
    const auto name = ecu_with("3.0.0").CANName;
    EXPECT_TRUE(mood.host != "node-1.local" || service->says("(hn node-1)"));
    EXPECT_EQ(api->UpdateECU(name), -2) << "a package alone does not count there";
    if (mood.deleted) {
        std::filesystem::remove(package);
    }
    EXPECT_EQ(api->UpdateECUVersion(name, "3.0.0"), 0);
    int uploaded = 0;
    const auto states = follow([&](const stInfo& info) {
        expect_refusals(info, name);
        uploaded = info.state == eStates::BL_TRANSFERRING ? std::max(uploaded, info.progress) : uploaded;
    });
    expect_refusals(status(), name);
    EXPECT_THAT(service->output(), HasSubstr(mood.words));
    EXPECT_TRUE(uploaded >= mood.uploaded && uploaded <= 100) << uploaded;
    if (mood.error != 0) {
        EXPECT_EQ(states.back(), eStates::BL_FAILURE);
        EXPECT_EQ(status().error, mood.error) << service->output();
        const auto incomplete = "Transfer Incomplete (error " + std::to_string(mood.error) + ")";
        EXPECT_EQ(service->output().find(incomplete) != std::string::npos, mood.error >= 30);
    } else {
        EXPECT_THAT(states, ElementsAre(eStates::BL_START, eStates::BL_BOOTLOADER, eStates::BL_TRANSFERRING,
                                        eStates::BL_PROGRAMMING, eStates::BL_RESTART, eStates::BL_RESTART_PENDING,
                                        eStates::BL_COMPLETE, eStates::BL_COMPLETE_ACK))
            << service->output();
        EXPECT_TRUE(harness::read_file(bench.path("received.zip")) == sent);
        EXPECT_EQ(ecu_with("3.0.0").sCurrentVersion, "3.0.0");
    }
    EXPECT_EQ(api->UpdateComplete(), 0);
    EXPECT_EQ(status().state, eStates::BL_IDLE);
}

TEST_F(Wireless_package, that_changed_since_the_scan_is_not_sent)
{
    const auto package = offer(bench.make_package(1000));
    node = bench.start_node();
    start_service();
    EXPECT_EQ(api->ScanDirectory(updates()), 0);
    const auto name = ecu_with("3.0.0").CANName;
    EXPECT_EQ(api->UpdateECUVersion(name, "9"), -2);
    EXPECT_TRUE(service->says("No update of version [9] found\n"));
    std::filesystem::resize_file(package, 900);
    EXPECT_EQ(api->UpdateECUVersion(name, "3.0.0"), -2);
    EXPECT_TRUE(service->says("File Size changed " + package + "\r\n"));
}

TEST_F(Wireless_package, is_not_sent_without_a_thread_for_it)
{
    offer(bench.make_package(1000));
    node = bench.start_node();
    start_limited_service();
    EXPECT_EQ(api->ScanDirectory(updates()), 0);
    const auto name = ecu_with("3.0.0").CANName;
    limit("nproc=1:");
    EXPECT_EQ(api->UpdateECUVersion(name, "3.0.0"), 0);
    EXPECT_EQ(follow().back(), eStates::BL_FAILURE);
    EXPECT_EQ(status().error, 27);
    EXPECT_TRUE(service->says("Starting Transfer Thread...\nError - pthread_create_ftp() return code: 11\n"))
        << service->output();
    limit("nproc=$(ulimit -Hu):");
    EXPECT_EQ(api->UpdateComplete(), 0);
    EXPECT_EQ(api->UpdateECUVersion(name, "3.0.0"), 0);
    EXPECT_EQ(follow().back(), eStates::BL_COMPLETE_ACK);
}

const std::string no_host = std::string(64, 'a') + ".local:80";
constexpr std::size_t more_than_sockets_hold = 32'000'000; // bytes

INSTANTIATE_TEST_SUITE_P(
    moods, Wireless_session,
    testing::Values(
        Mood{"plain", {}},
        Mood{"slow", {"--read-rate", "1500000"}, 0, "Upload progress: ", 6'000'000, "", false, "node-1.local", 20},
        Mood{"without_a_report", {"--report-ms", "0", "--serial", "4711"}, 0, "", 1000, "", false, "PH4711.local"},
        Mood{"no_json_for_a_while",
             {"--status", "text:busy", "--status", "500", "--status", "close", "--status", "usual"},
             0,
             "Error parsing json payload"},
        Mood{"redirect_of_the_status", {"--status", "redirect", "--status", "usual"}},
        Mood{"complete_instead_of_rebooting", {"--final-state", "complete", "--status", "markup"}},
        Mood{"slow_restart", {"--reboot-ms", "20000"}},
        Mood{"wrong_password", {"--password", "other"}, 34, "HTTP Response code: 401 \r\n"},
        Mood{"upload_500_and_no_second_try",
             {"--upload", "500", "--upload", "usual"},
             34,
             "HTTP Response code: 500 \r\n"},
        Mood{"upload_redirect", {"--upload", "redirect"}, 34, "HTTP Response code: 302 \r\n"},
        Mood{"stops_reading",
             {"--stop-reading", "1000"},
             34,
             "\nno bytes transferred in 10 intervals, aborting\n",
             more_than_sockets_hold},
        Mood{"breaks_off", {"--break-off", "50000"}, 30, "curl_easy_perform() failed: (5", more_than_sockets_hold},
        Mood{"nobody_listens", {}, 30, "curl_easy_perform() failed: (7) ", 1000, "127.0.0.1:1"},
        Mood{"unknown_host", {}, 36, "curl_easy_perform() failed: (6) ", 1000, no_host},
        Mood{"deleted_package", {}, 32, "Error Unable to open upload directory\n", 1000, "", true},
        Mood{"install_500_and_no_second_try", {"--install", "500", "--install", "usual"}, 4, "(hn node-1)"},
        Mood{"lies",
             {"--status", R"(text:{"state":"rebooting","progress":"999999999999","error":"4294967296"})"},
             4,
             "WIFI Install Incomplete\n"},
        Mood{"no_host_name", {"--host-name", "x@y"}, 34, "(hn x@y)", 1000, "", false, "x@y.local"},
        Mood{"install_error", {"--install-error", "7"}, 4, "WIFI Install Incomplete\n"},
        Mood{"does_not_return", {"--no-return"}, 11, "WIFI Install Finished\n"}),
    [](const auto& row) { return std::string(row.param.name); });

/// The head of a call, strict binary protocol.
std::string call(const std::string& method, const std::string& kind = "\1")
{
    using namespace std::string_literals;
    return "\x80\1\0"s + kind + "\0\0\0"s + static_cast<char>(method.size()) + method + "\0\0\0\1"s;
}

std::string noise()
{
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same in each run
    std::string bytes(4096, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    return bytes;
}

TEST_F(Rpc, ends_the_connection_of_a_caller_that_sends_nonsense_and_serves_the_others)
{
    using namespace std::string_literals;
    struct Case {
        const char* what;
        std::string bytes;
        bool ended = true;
    };
    std::string nested;
    for (int depth = 0; depth < 20'000; ++depth) {
        nested += "\x0F\0\0\0\1"s;
    }
    const Case cases[] = {
        {"another protocol", "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"},
        {"noise", noise()},
        {"half a call", call("GetStatus").substr(0, 11), false},
        {"half an argument", call("ScanDirectory") + "\x0B\0\1\0\0\0\7/up"s, false},
        {"a method's name of 2 GiB", "\x80\1\0\1\x7F\xFF\xFF\xFF"s},
        {"a method's name of less than nothing", "\x80\1\0\1\xFF\xFF\xFF\xFF"s},
        {"a text of 2 GiB", call("ScanDirectory") + "\x0B\0\1\x7F\xFF\xFF\xFF"s},
        {"a text of 1 MiB", call("ScanDirectory") + "\x0B\0\1\0\x10\0\0"s + std::string(1 << 20, 'x') + "\0"s},
        {"a list of 2 G numbers", call("GetStatus") + "\x0F\0\1\x0A\x7F\xFF\xFF\xFF"s},
        {"a list of 2 G nothings", call("GetStatus") + "\x0F\0\1\0\x7F\xFF\xFF\xFF"s},
        {"lists in lists", call("GetStatus") + "\x0F\0\1"s + nested},
        {"a reply", call("GetStatus", "\2") + "\0"s},
        {"an unknown method", call("Format") + "\0"s, false},
    };
    start_service();
    for (const auto& each : cases) {
        const Raw_connection connection(port);
        connection.send(each.bytes);
        EXPECT_EQ(connection.is_ended(each.ended ? 5s : 300ms), each.ended) << each.what;
        ASSERT_FALSE(service->ends(0s)) << each.what << service->output();
        EXPECT_EQ(status().state, eStates::BL_IDLE) << each.what;
    }
    service->signal(SIGTERM);
    EXPECT_EQ(service->ends(5s), 0) << service->output();
}

TEST_F(Rpc, serves_one_more_beside_two_hundred_idle_callers_and_ends_with_all_of_them)
{
    start_service();
    std::vector<std::unique_ptr<Raw_connection>> idle;
    const auto add = [&](std::size_t count) {
        while (idle.size() < count) {
            idle.push_back(std::make_unique<Raw_connection>(port));
        }
    };
    add(200);
    EXPECT_EQ(connect_to(port)->UpdateComplete(), -1);
    add(300); // more than it serves at a time: the others wait
    EXPECT_EQ(status().state, eStates::BL_IDLE);
    idle.resize(100);
    EXPECT_EQ(connect_to(port)->UpdateComplete(), -1) << "its turn comes";
    add(300);
    service->signal(SIGTERM);
    EXPECT_EQ(service->ends(5s), 0) << service->output();
}

TEST_F(Rpc, does_not_mind_callers_that_go_away_in_the_middle)
{
    offer(bench.make_update(50'000));
    start_service();
    for (int turn = 0; turn < 100; ++turn) {
        const Raw_connection connection(port);
        const auto path = updates().string();
        connection.send(call("ScanDirectory") + std::string("\x0B\0\1\0\0\0", 6) + static_cast<char>(path.size()) +
                        path + '\0');
        if (turn % 2 == 0) {
            connection.break_off();
        }
    }
    EXPECT_EQ(status().state, eStates::BL_IDLE);
    service->signal(SIGTERM);
    EXPECT_EQ(service->ends(5s), 0) << service->output();
}

TEST_F(Rpc, ends_in_time_beside_a_caller_that_asks_and_never_reads)
{
    start_service();
    const Raw_connection connection(port);
    std::string calls;
    for (int count = 0; count < 1000; ++count) {
        calls += call("GetStatus") + '\0';
    }
    connection.send_until_full(calls);
    EXPECT_EQ(status().state, eStates::BL_IDLE);
    service->signal(SIGTERM);
    EXPECT_EQ(service->ends(2s), 0) << service->output(); // long before the time that a caller has to read
}

TEST_F(Rpc, serves_again_after_a_time_without_descriptors_or_threads)
{
    start_limited_service();
    EXPECT_EQ(api->UpdateComplete(), -1); // it has its thread
    struct Shortage {
        const char *limit, *former, *told;
        bool ends_the_caller;
    };
    std::vector<Shortage> rows{
        {"nproc=1:", "nproc=$(ulimit -Hu):", "Error: Resource temporarily unavailable\n", true}};
#if !defined(__SANITIZE_ADDRESS__) // which needs descriptors of its own
    rows.push_back({"nofile=3:", "nofile=$(ulimit -Hn):", "Error: accept(): Too many open files\n", false});
#endif
    for (const auto& row : rows) {
        limit(row.limit);
        const Raw_connection caller(port);
        EXPECT_TRUE(service->says(row.told, 5s)) << service->output();
        EXPECT_EQ(caller.is_ended(1s), row.ends_the_caller);
        EXPECT_FALSE(service->ends(1s)) << service->output(); // its token cannot be looked at, and is there
        EXPECT_EQ(api->UpdateComplete(), -1);
        limit(row.former);
        EXPECT_EQ(connect_to(port)->UpdateComplete(), -1);
    }
    service->signal(SIGTERM);
    EXPECT_EQ(service->ends(4s), 0) << service->output();
}

TEST_F(Rpc, serves_this_machine_alone_and_refuses_orders_while_it_looks_for_the_ecu_of_its_command_line)
{
    start_service({"-w", bench.make_update(1000)});
    EXPECT_THROW(transport::TSocket("127.0.0.2", port).open(), transport::TTransportException);
    EXPECT_EQ(status().state, eStates::BL_IDLE);
    expect_refusals(status(), nobody);
}

TEST_F(Rpc, ends_in_time_in_the_middle_of_a_scan)
{
    const auto package = offer(bench.make_package(1000));
    for (int count = 0; count < 30; ++count) {
        std::filesystem::copy_file(package, package + std::to_string(count));
    }
    std::filesystem::remove(bench.path("usr/bin/unzip"));
    harness::write_file(bench.path("usr/bin/unzip"), "#!/bin/sh\nsleep 1\nexit 9\n");
    std::filesystem::permissions(bench.path("usr/bin/unzip"), std::filesystem::perms::owner_all);
    start_service();
    api->send_ScanDirectory(updates());
    EXPECT_TRUE(service->says("Parsing"));
    service->signal(SIGTERM);
    EXPECT_EQ(service->ends(8s), 0) << service->output();
}

TEST_F(Rpc, a_port_that_is_taken_ends_the_service)
{
    start_service();
    harness::Bench second;
    second.start_router();
    second.write_configuration("<rpc port_c=\"" + std::to_string(port) + "\"/>");
    const auto loser = second.start_service({});
    EXPECT_TRUE(loser->says("Starting IPC server...\n"));
    EXPECT_TRUE(loser->says("Error: "));
    EXPECT_TRUE(loser->says("Is the service already running?  Exiting...\n"));
    EXPECT_EQ(loser->ends(), 255);
    EXPECT_EQ(status().state, eStates::BL_IDLE);
}

/// Calls everything but `Shutdown`, again and again, until the service ends.
void call_everything(std::uint16_t port, const std::string& updates, unsigned seed,
                     const std::atomic<bool>& service_ends)
{
    std::mt19937 random(seed);
    std::vector<ecuInfo> list;
    std::vector<ecuSoftwareID> software;
    ecuID id;
    stInfo info;
    Words folders;
    try {
        const auto api = connect_to(port);
        for (unsigned turn = 0;; ++turn) {
            list.clear();
            api->GetECUList(list);
            const auto ecu = list.empty() ? ecuInfo() : list[random() % list.size()];
            switch (random() % 8) {
                case 0: api->UpdateECU(ecu.CANName); break;
                case 1: api->UpdateECUVersion(ecu.CANName, ecu.sUpdateVersion); break;
                case 2: api->UpdateComplete(); break;
                case 3: api->ScanDirectory(updates); break;
                case 4: api->ListDirectories(folders); break;
                case 5: turn % 100 == 99 ? api->ClearECUList() : 0; break; // ECUs need time to answer
                case 6: api->GetECUSoftwareIDs(software, ecu.CANName); break;
                case 7: api->GetECUID(id, ecu.CANName); break;
            }
            api->GetStatus(info);
            std::this_thread::sleep_for(2ms);
        }
    } catch (const TException& end) {
        EXPECT_TRUE(service_ends) << end.what();
    }
}

/// Of worth above all in a build with the thread sanitizer, which ends the service with a status of its own.
TEST_F(Rpc, four_callers_at_a_time_call_everything_in_every_state)
{
    offer(bench.make_update(3000));
    ecu = bench.start_ecu({"--delay-ms", "20"});
    offer(bench.make_package(3'000'000));
    node = bench.start_node({"--install-polls", "2", "--read-rate", "1000000"});
    start_service();
    std::atomic<bool> service_ends = false;
    std::vector<std::thread> callers;
    for (unsigned seed = 0; seed < 4; ++seed) {
        callers.emplace_back(&call_everything, port, updates(), seed, std::cref(service_ends));
    }
    const auto is_updated = [](Process& device) {
        return device.output().find("restarted, version") != std::string::npos;
    };
    for (const auto end = Clock::now() + 150s; Clock::now() < end && !(is_updated(*ecu) && is_updated(*node));) {
        std::this_thread::sleep_for(50ms);
        service->output();
    }
    EXPECT_TRUE(is_updated(*ecu) && is_updated(*node)) << ecu->output() << node->output() << service->output();
    EXPECT_TRUE(service->says("Programming Complete!") && service->says("Programming Complete!"))
        << ecu->output() << node->output() << service->output();
    service_ends = true;
    service->signal(SIGTERM);
    EXPECT_EQ(service->ends(20s), 0) << service->output();
    for (auto& caller : callers) {
        caller.join();
    }
}

} // namespace
