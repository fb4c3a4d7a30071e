// flintrowctl as a process, against a service that the test plays.

#include <atomic>
#include <cstring>
#include <filesystem>
#include <future>
#include <map>
#include <mutex>
#include <thread>
#include <tuple>

#include <FlintrowThrift.h>
#include <gmock/gmock.h>
#include <thrift/TOutput.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/server/TThreadedServer.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TServerSocket.h>

#include "bench/harness/bench.h"
#include "ctl/exit_code.h"

namespace ctl {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using namespace apache::thrift;
using flintrow::eStates;
using harness::Process;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;

/// Answers what the test lays down, and writes down what was ordered.
///
/// Thread: those of the connections; the test's own thread through `tell`, `answer` and `orders`.
class Played_service final : public flintrow::FlintrowThriftIf, public server::TServerEventHandler {
public:
    /// `state` as a number: it need not be one of the enumeration.
    void tell(std::int32_t state, std::int32_t progress = 0, std::int32_t error = -1)
    {
        const std::lock_guard lock(mutex_);
        std::memcpy(&info_.state, &state, sizeof state);
        info_.__set_progress(progress);
        info_.__isset.error = error >= 0;
        info_.error = error;
    }
    std::vector<std::string> orders()
    {
        const std::lock_guard lock(mutex_);
        return orders_;
    }

    /// To this order; 0 where none is laid down.
    void answer(const std::string& order, std::int32_t code)
    {
        const std::lock_guard lock(mutex_);
        answers_[order] = code;
    }

    std::vector<flintrow::ecuInfo> ecus; ///< laid down before the first connection
    std::atomic<bool> dies{false};       ///< ends each connection in the middle of a call

    void GetStatus(flintrow::stInfo& info) override
    {
        const std::lock_guard lock(mutex_);
        info = info_;
    }
    std::int32_t UpdateECU(std::int64_t name) override { return order("UpdateECU", hex(name)); }
    std::int32_t UpdateECUVersion(std::int64_t name, const std::string& version) override
    {
        return order("UpdateECUVersion", hex(name) + " " + version);
    }
    std::int32_t UpdateComplete() override { return order("UpdateComplete"); }
    std::int32_t ScanDirectory(const std::string& path) override { return order("ScanDirectory", path); }
    void ListDirectories(std::vector<std::string>& list) override { list = {"/updates", "/m\x1b]0;x\x07"}; }
    std::int32_t ClearECUList() override { return order("ClearECUList"); }
    void GetECUList(std::vector<flintrow::ecuInfo>& list) override { list = ecus; }
    void GetECUSoftwareIDs(std::vector<flintrow::ecuSoftwareID>& list, std::int64_t name) override
    {
        list.resize(1);
        list[0].__set_SSL("APP");
        list[0].__set_SV("of " + hex(name));
    }
    void GetECUID(flintrow::ecuID& id, std::int64_t name) override { id.__set_PN("PN of " + hex(name)); }
    std::int32_t Shutdown() override { return order("Shutdown"); }

    void processContext(void*, std::shared_ptr<transport::TTransport> connection) override
    {
        if (dies) {
            connection->close();
        }
    }
    void preServe() override { ready.set_value(); }
    std::promise<void> ready;

private:
    static std::string hex(std::int64_t name)
    {
        char text[17];
        std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(name));
        return text;
    }
    std::int32_t order(const std::string& what, const std::string& with = "")
    {
        const std::lock_guard lock(mutex_);
        orders_.push_back(with.empty() ? what : what + " " + with);
        return answers_[what];
    }

    std::mutex mutex_;
    flintrow::stInfo info_;
    std::map<std::string, std::int32_t> answers_;
    std::vector<std::string> orders_;
};

flintrow::ecuInfo make_ecu(std::uint64_t name, int address, const std::string& title,
                           const std::vector<std::string>& versions)
{
    flintrow::ecuInfo info;
    info.__set_CANName(static_cast<std::int64_t>(name));
    info.__set_CANAddress(address);
    info.__set_sECUName(title);
    info.__set_sCurrentVersion("1.0");
    info.__set_sUpdateVersion(versions.empty() ? "" : versions.front());
    info.__set_stUpdateVersions(versions);
    return info;
}

const std::string hostile = "E\x1b[2J\x9b\x07\xe2\x80\xae\n$(reboot)";

class Flintrowctl : public testing::Test {
protected:
    Flintrowctl()
    {
        GlobalOutput.setOutputFunction([](const char*) {});
        service->ecus = {make_ecu(0xA0008400FFE00001, 0x80, "Sprayer-12345", {"2.0", "1.5"}),
                         make_ecu(0xA0008400FFE00002, 0x81, "Sprayer-12399", {}),
                         make_ecu(0xA0008400FFE00003, 0x82, hostile, {hostile})};
        server.setServerEventHandler(service);
        thread = std::thread([this] { server.serve(); });
        service->ready.get_future().wait();
        port = std::to_string(socket->getPort());
    }
    ~Flintrowctl() override
    {
        server.stop();
        thread.join();
    }

    /// Starts it, in a locale that knows all characters.
    Process start(const Words& words) const
    {
        Words line{FLINTROWCTL, "--port", port};
        line.insert(line.end(), words.begin(), words.end());
        return Process(line, {"LC_ALL=C.UTF-8"});
    }
    /// What it prints; its exit status has to be this.
    std::string told(Exit exit, const Words& words) const
    {
        auto process = start(words);
        EXPECT_EQ(process.ends(), static_cast<int>(exit)) << testing::PrintToString(words);
        return process.output();
    }

    std::shared_ptr<Played_service> service = std::make_shared<Played_service>();
    std::shared_ptr<transport::TServerSocket> socket = std::make_shared<transport::TServerSocket>("127.0.0.1", 0);
    server::TThreadedServer server{std::make_shared<flintrow::FlintrowThriftProcessor>(service), socket,
                                   std::make_shared<transport::TBufferedTransportFactory>(),
                                   std::make_shared<protocol::TBinaryProtocolFactoryT<transport::TBufferBase>>()};
    std::thread thread;
    std::string port;
};

TEST_F(Flintrowctl, tells_the_status_in_words_and_for_scripts)
{
    const std::tuple<std::int32_t, std::int32_t, std::int32_t, const char*, const char*> rows[] = {
        {0, 77, -1, "idle\n", R"({"state":"BL_IDLE","progress":null,"error":null})"},
        {6, 42, -1, "programming 42 %\n", R"({"state":"BL_PROGRAMMING","progress":42,"error":null})"},
        {9, 0, 0, "complete\n", R"({"state":"BL_COMPLETE","progress":null,"error":null})"},
        {10, 0, 36, "failed\nthe update failed, code 36: the wireless node's host name",
         R"({"state":"BL_FAILURE","progress":null,"error":{"code":36,"meaning":"the wireless)"},
        {10, 0, -1, "code 0: a failure that this program has no words for\nLook at", R"("error":{"code":0)"},
        {12, -5, -1, "waiting for the ECU 0 %\n", R"({"state":"BL_RESTART_PENDING","progress":0,)"},
        {99, 0, -1, "unknown state 99\n", R"({"state":"99","progress":null,"error":null})"},
    };
    for (const auto& [state, progress, error, words, json] : rows) {
        service->tell(state, progress, error);
        EXPECT_THAT(told(Exit::done, {"status"}), HasSubstr(words));
        EXPECT_THAT(told(Exit::done, {"status", "--json"}), HasSubstr(json));
    }
}

TEST_F(Flintrowctl, asks_the_host_that_it_is_told)
{
    EXPECT_EQ(told(Exit::done, {"status", "--host", "localhost"}), "idle\n");
    for (const std::string& host : {"127.0.0.2"s, std::string(64, 'a')}) {
        EXPECT_THAT(told(Exit::unreachable, {"status", "--host", host}), HasSubstr("the service at " + host));
    }
}

TEST_F(Flintrowctl, lists_and_shows_with_hostile_texts_made_harmless)
{
    const std::string harmless = R"(E\x1b[2J\x9b\x07\xe2\x80\xae\x0a$(reboot))";
    EXPECT_EQ(told(Exit::done, {"list"}),
              "ADDRESS  NAME              TITLE                                      INSTALLED  UPDATE\n"
              "0x80     a0008400ffe00001  Sprayer-12345                              1.0        2.0\n"
              "0x81     a0008400ffe00002  Sprayer-12399                              1.0        -\n"
              "0x82     a0008400ffe00003  " +
                  harmless + "  1.0        " + harmless + "\n");
    EXPECT_EQ(told(Exit::done, {"directories"}), "/updates\n/m\\x1b]0;x\\x07\n");
    const auto one = told(Exit::done, {"show", "12345"});
    EXPECT_THAT(one, HasSubstr("part number       PN of a0008400ffe00001\n"));
    EXPECT_THAT(one, HasSubstr("all updates       2.0, 1.5\n\nSOFTWARE  PART NUMBER  VERSION\nAPP       -  "));
    EXPECT_THAT(told(Exit::done, {"show", "130"}), HasSubstr(harmless));

    const std::string escaped = R"x("E\u001b[2J\ufffd\u0007\u202e\n$(reboot)")x";
    EXPECT_THAT(told(Exit::done, {"--json", "list"}), HasSubstr("\"title\": " + escaped + ","));
    EXPECT_THAT(told(Exit::done, {"show", "130", "--json"}), HasSubstr("\"update_versions\": [\n    " + escaped));
    EXPECT_EQ(told(Exit::done, {"directories", "--json"}), "[\n  \"/updates\",\n  \"/m\\u001b]0;x\\u0007\"\n]\n");
}

TEST_F(Flintrowctl, updates_the_one_ecu_that_is_meant)
{
    told(Exit::done, {"update", "0x80"});
    told(Exit::done, {"update", "sprayer-12345", "--version", "1.5"});
    EXPECT_THAT(
        told(Exit::ambiguous_ecu, {"update", "spray"}),
        testing::MatchesRegex("flintrowctl: 'spray' fits 2 ECUs:\nADDRESS .*\n0x80 .*12345\n0x81 .*\nName.*\n"));
    EXPECT_THAT(told(Exit::unknown_ecu, {"update", "\x1b[m"}), HasSubstr("no ECU fits '\\x1b[m'\n"));
    service->answer("UpdateECU", -2);
    EXPECT_THAT(told(Exit::nothing_to_install, {"update", "129"}), HasSubstr("no update file fits Sprayer-12399"));
    service->answer("UpdateECUVersion", -2);
    EXPECT_THAT(
        told(Exit::nothing_to_install, {"update", "128", "--version", "3"}),
        HasSubstr("version 3 is not on offer for Sprayer-12345 (0x80, a0008400ffe00001)\nThese are: 2.0, 1.5."));
    EXPECT_THAT(told(Exit::nothing_to_install, {"update", "128"}),
                testing::AllOf(HasSubstr(" to 2.0 could not start\nIts file"), HasSubstr("--version: 2.0, 1.5.")));
    EXPECT_THAT(service->orders(),
                ElementsAre("UpdateECUVersion a0008400ffe00001 2.0", "UpdateECUVersion a0008400ffe00001 1.5",
                            "UpdateECU a0008400ffe00002", "UpdateECUVersion a0008400ffe00001 3",
                            "UpdateECUVersion a0008400ffe00001 2.0"));
    service->answer("UpdateECUVersion", -3);
    EXPECT_THAT(told(Exit::unknown_ecu, {"update", "128"}), HasSubstr("has left the service's list"));
    service->answer("UpdateECUVersion", 7);
    EXPECT_THAT(told(Exit::failed, {"update", "128"}), HasSubstr("unknown code 7"));
}

TEST_F(Flintrowctl, tells_why_an_order_is_refused)
{
    for (const char* order : {"UpdateECUVersion", "UpdateComplete", "ScanDirectory", "ClearECUList", "Shutdown"}) {
        service->answer(order, -1);
    }
    service->tell(eStates::BL_ERASING);
    const Words lines[] = {{"update", "128"}, {"scan", "/"}, {"acknowledge"}, {"clear"}, {"shutdown"}};
    for (const auto& words : lines) {
        EXPECT_THAT(told(Exit::busy, words), HasSubstr("refused: a session is running (erasing)\n"));
    }
    service->tell(eStates::BL_COMPLETE_ACK);
    EXPECT_THAT(told(Exit::busy, {"clear"}), HasSubstr("'flintrowctl acknowledge' makes way"));
    service->tell(eStates::BL_IDLE);
    EXPECT_THAT(told(Exit::busy, {"clear"}), HasSubstr("started with -w"));
    told(Exit::no_session, {"acknowledge"});
    told(Exit::no_session, {"follow"});
}

TEST_F(Flintrowctl, scans_what_the_user_sees_and_warns_of_what_is_not_there)
{
    EXPECT_EQ(told(Exit::done, {"scan", "/etc/../etc/"}), "Scanned /etc.\n");
    EXPECT_THAT(told(Exit::done, {"scan", "no such\nfolder"}), HasSubstr("no such\\x0afolder is no folder"));
    EXPECT_EQ(told(Exit::done, {"scan", "/", "--json"}), "{\"done\":\"scan\"}\n");
    const auto here = std::filesystem::current_path().string();
    Process homeless({"/bin/sh", "-c", "cd $(mktemp -d) && rmdir $PWD && exec " FLINTROWCTL " scan updates"});
    EXPECT_EQ(homeless.ends(), static_cast<int>(Exit::failed));
    EXPECT_THAT(service->orders(), ElementsAre("ScanDirectory /etc", "ScanDirectory " + here + "/no such\nfolder",
                                               "ScanDirectory /"));
}

TEST_F(Flintrowctl, follows_a_session_line_by_line_as_it_happens_and_acknowledges_it)
{
    service->tell(eStates::BL_START);
    auto process = start({"update", "12345", "--follow"});
    EXPECT_TRUE(process.says("Updating Sprayer-12345 (0x80, a0008400ffe00001) from 1.0 to 2.0.\nstarting\n"));
    service->tell(eStates::BL_PROGRAMMING, 10);
    EXPECT_TRUE(process.says("programming 10 %\n"));
    EXPECT_FALSE(process.says("programming", 500ms)) << "nothing has changed";
    service->tell(eStates::BL_PROGRAMMING, 60);
    EXPECT_TRUE(process.says("programming 60 %"));
    EXPECT_THAT(service->orders(), ElementsAre("UpdateECUVersion a0008400ffe00001 2.0"));
    service->tell(eStates::BL_COMPLETE_ACK);
    EXPECT_EQ(process.ends(), 0);
    EXPECT_THAT(process.output(), testing::EndsWith("The update is complete.\n"));
    EXPECT_THAT(service->orders(), ElementsAre(testing::_, "UpdateComplete"));
}

TEST_F(Flintrowctl, tells_the_end_of_a_session_by_its_exit_status)
{
    service->tell(eStates::BL_FAILURE, 0, 11);
    const auto failed = told(Exit::update_failed, {"follow", "--json"});
    EXPECT_THAT(failed, testing::StartsWith(R"({"state":"BL_FAILURE","progress":null,"error":{"code":11,)"));
    EXPECT_THAT(failed,
                HasSubstr("code 11: the ECU did not come back after its restart\nSwitch the ECU off and on"));
    EXPECT_THAT(service->orders(), testing::IsEmpty()) << "who only watches does not acknowledge";
    told(Exit::update_failed, {"update", "128", "--follow"});
    EXPECT_THAT(service->orders(), ElementsAre(testing::_, "UpdateComplete"));

    service->tell(eStates::BL_PROGRAMMING, 50);
    auto watched = start({"follow", "--json"});
    EXPECT_TRUE(
        watched.says(R"({"state":"BL_PROGRAMMING","progress":50,"error":null,"rate":null,"seconds_left":null})"
                     "\n"));
    service->tell(eStates::BL_IDLE);
    EXPECT_EQ(watched.ends(), static_cast<int>(Exit::unseen));
    service->tell(eStates::BL_COMPLETE_ACK);
    EXPECT_THAT(told(Exit::done, {"follow"}), HasSubstr("'flintrowctl acknowledge' makes way"));
}

TEST_F(Flintrowctl, leaves_the_session_alone_when_it_is_interrupted_or_loses_the_service)
{
    service->tell(eStates::BL_ERASING, 3);
    auto interrupted = start({"follow"});
    EXPECT_TRUE(interrupted.says("erasing 3 %\n"));
    interrupted.signal(SIGINT);
    EXPECT_EQ(interrupted.ends(), -SIGINT);
    EXPECT_THAT(interrupted.output(), HasSubstr("The session goes on."));

    auto orphan = start({"follow"});
    EXPECT_TRUE(orphan.says("erasing 3 %\n"));
    service->dies = true;
    EXPECT_EQ(orphan.ends(), static_cast<int>(Exit::lost));
    EXPECT_THAT(orphan.output(), HasSubstr("ended the connection in the middle of the session\n"));
    told(Exit::lost, {"list"});
    EXPECT_EQ(told(Exit::done, {"shutdown"}), "The service has ended.\n") << "its end is the answer";
}

TEST_F(Flintrowctl, draws_a_bar_on_a_terminal)
{
    service->tell(eStates::BL_ERASING, 50);
    Process process(
        {"/usr/bin/script", "-qec", "stty cols 80; exec " FLINTROWCTL " follow --port " + port, "/dev/null"},
        {"LC_ALL=C.UTF-8"});
    EXPECT_TRUE(process.says("\rerasing                     [######-------]  50 %"));
    service->tell(eStates::BL_PROGRAMMING, 1);
    EXPECT_TRUE(process.says("\rerasing                     [#############] 100 %"));
    EXPECT_TRUE(process.says("\r\n\rprogramming                 [-------------]   1 %"));
    service->tell(eStates::BL_FAILURE, 0, 2);
    EXPECT_EQ(process.ends(), static_cast<int>(Exit::update_failed));
    EXPECT_THAT(process.output(), HasSubstr("\r\nflintrowctl: the update failed, code 2: "));
    EXPECT_THAT(process.output(), Not(HasSubstr("\x1b")));
}

TEST_F(Flintrowctl, completes_commands_and_names_but_nothing_that_a_shell_would_obey)
{
    const auto completed = [&](const std::string& words) {
        const auto script = "source " CTL_SOURCE_DIR "/flintrowctl.bash; COMP_WORDS=(" FLINTROWCTL " --port " +
                            port + " " + words +
                            "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _flintrowctl; echo \"${COMPREPLY[*]}\"";
        Process process({"/bin/bash", "-c", script});
        EXPECT_EQ(process.ends(), 0);
        return process.output();
    };
    EXPECT_EQ(completed("s"), "status show scan shutdown\n");
    EXPECT_EQ(completed("update ''"),
              "a0008400ffe00001 Sprayer-12345 a0008400ffe00002 Sprayer-12399 a0008400ffe00003\n");
    EXPECT_EQ(completed("update Sprayer-12345 --version ''"), "2.0 1.5\n");
    EXPECT_EQ(completed("update 130 --version ''"), "\n");
    EXPECT_EQ(completed("update 130 --f"), "--follow\n");
    EXPECT_EQ(completed("--timeout = 5 update Sprayer-12345 --version ="), "2.0 1.5\n");
}

/// Answers one caller without being the service, and waits until it goes.
void play_stranger(transport::TServerSocket& socket, const std::string& answer)
{
    try {
        const auto connection = socket.accept();
        connection->write(reinterpret_cast<const std::uint8_t*>(answer.data()),
                          static_cast<std::uint32_t>(answer.size()));
        for (std::uint8_t byte = 0; connection->read(&byte, 1) == 1;) {
        }
    } catch (const transport::TTransportException&) {
        return; // nobody came, or went without a farewell
    }
}

TEST(Flintrowctl_alone, tells_apart_what_may_be_wrong_at_the_other_end)
{
    const auto list = "\x80\1\0\2\0\0\0\x0aGetECUList\0\0\0\0"s;
    const auto one_ecu = list + "\x0f\0\0\x0c\0\0\0\1"s;
    const auto status = "\x80\1\0\2\0\0\0\x09GetStatus\0\0\0\0\x0c\0\0"s;
    const std::tuple<const char*, std::string, Exit> rows[] = {
        {"list", "", Exit::timeout},
        {"list", list, Exit::timeout}, // half a reply
        {"list", "HTTP/1.1 400 Bad Request\r\n\r\n", Exit::failed},
        {"list", list + "\x0f\0\0\x0c\x7f\xff\xff\xff"s, Exit::failed},    // 2^31 - 1 ECUs
        {"list", one_ecu + "\x08\0\2\0\0\0\x80\0\0"s, Exit::failed},       // without a NAME
        {"list", one_ecu + "\x0a\0\1\0\0\0\0\0\0\0\1\0\0"s, Exit::failed}, // without an address
        {"status", status + "\x08\0\2\0\0\0\x2a\0\0"s, Exit::failed},      // without a state
        {"status", status + "\x08\0\1\0\0\0\6\0\0"s, Exit::done},          // the state alone
    };
    for (const auto& [command, answer, exit] : rows) {
        transport::TServerSocket socket("127.0.0.1", 0);
        socket.setAcceptTimeout(20000);
        socket.listen();
        const std::jthread stranger([&socket, &bytes = answer] { play_stranger(socket, bytes); });
        Process process({FLINTROWCTL, command, "--timeout", exit == Exit::timeout ? "0.3" : "20", "--port",
                         std::to_string(socket.getPort())});
        EXPECT_EQ(process.ends(), static_cast<int>(exit)) << process.output();
        EXPECT_THAT(process.output(), testing::StartsWith(exit == Exit::done ? "programming" : "flintrowctl: "));
    }
    Process nobody({FLINTROWCTL, "list", "--port", "1"});
    EXPECT_EQ(nobody.ends(), static_cast<int>(Exit::unreachable));
}

TEST(Flintrowctl_alone, refuses_a_wrong_command_line)
{
    for (const std::string words : {"", "nonsense", "status list", "status --nonsense", "show", "show ''",
                                    "update 1 --version ''", "list --follow", "list --port 0", "list --port 65536",
                                    "list --timeout nan", "list --timeout 1e99", "list --host ''"}) {
        Process process({"/bin/sh", "-c", FLINTROWCTL " " + words});
        EXPECT_EQ(process.ends(), static_cast<int>(Exit::usage)) << words;
        EXPECT_THAT(process.output(), HasSubstr("'flintrowctl --help' tells how to use it.\n"));
    }
}

TEST(Flintrowctl_alone, explains_its_exit_status_in_the_help_and_in_the_manual)
{
    Process process({FLINTROWCTL, "--help"});
    EXPECT_EQ(process.ends(), 0);
    const auto manual = harness::read_file(CTL_SOURCE_DIR "/flintrowctl.1");
    for (const auto& row : exit_meanings) {
        EXPECT_THAT(process.output(), HasSubstr(row.meaning));
        EXPECT_THAT(manual, HasSubstr(".B " + std::to_string(static_cast<int>(row.exit)) + "\n" + row.meaning));
    }
}

} // namespace
} // namespace ctl
