#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <tuple>

#include <gmock/gmock.h>

#include "bench/harness/bench.h"
#include "framework/thread/pause.h"
#include "service/wifi/install_handler.h"
#include "service/wifi/install_status.h"
#include "service/wifi/request.h"
#include "service/wifi/send_handler.h"
#include "service/wifi/transfer_record.h"

/// Which block for a reply cannot be had, counted from now; 0 is none. The linker passes the calls through here.
static int missing_block = 0;

extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size)
{
    return count == 1024 && missing_block > 0 && --missing_block == 0 ? nullptr : __real_calloc(count, size);
}

namespace qv::can_bus::flr {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using Words = std::vector<std::string>;

TEST(Transfer_record_test, the_eleventh_report_in_a_row_without_a_new_byte_is_the_last)
{
    /// What, bytes in all and sent; reports with these, the first of which brings new ones; whether it goes on.
    const std::tuple<const char*, std::uint64_t, std::uint64_t, int, bool> rows[] = {
        {"ten stalls", 100, 50, 11, true},
        {"eleven stalls", 100, 50, 12, false},
        {"the node takes its time with all bytes sent", 100, 100, 50, true},
        {"nothing to send yet", 0, 0, 50, true},
    };
    for (const auto& [what, total, sent, reports, goes_on_at_last] : rows) {
        Transfer_record record;
        bool goes_on = true;
        for (int i = 0; i < reports; ++i) {
            EXPECT_TRUE(goes_on) << what;
            goes_on = record.count(total, sent);
        }
        EXPECT_EQ(goes_on, goes_on_at_last) << what;
        EXPECT_TRUE(record.count(total, sent + 1)) << what << ": one more byte is no stall";
        EXPECT_EQ(record.stall_count, 0U);
    }
}

TEST(Transfer_record_test, reports_a_second_apart_and_counts_percent_of_more_than_32_bits)
{
    Transfer_record record;
    for (const auto& [time, due] : {std::pair{0.9, false}, {1.0, true}, {1.9, false}, {2.5, true}, {3.4, false}}) {
        EXPECT_EQ(record.report_is_due(time), due) << time;
    }
    EXPECT_TRUE(record.count(6'000'000'000, 5'999'999'999));
    EXPECT_EQ(record.progress, 99);
    EXPECT_EQ(record.bytes_sent, 5'999'999'999);
}

TEST(Install_status_test, reads_what_a_node_replies)
{
    const std::pair<std::string, const char*> rows[] = {
        // a reply; "version state progress error", or "none"
        {R"({"version": 3, "state": "installing", "progress": "40", "error": "0"})", "3 installing 40 0"},
        {R"({"version": 3, "state": "rebooting", "progress": "100"} <!-- {"state": "x"} -->)", "3 rebooting 100 "},
        {R"({"state": "s"}<!DOCTYPE html><p>)", "0 s  "},
        {"{}", "0   "},
        {R"({"version": "3", "state": 1, "progress": 40, "error": null})", "0   "},
        {R"({"version": -2.9})", "-2   "},
        {R"({"version": 1e300})", "2147483647   "},
        {R"({"version": -9999999999})", "-2147483648   "},
        {R"({"state": "a<!b"})", "none"},
        {R"([{"state": "complete"}])", "none"},
        {R"({"state": "complete", "progress": "100"}<html>and more)", "0 complete 100 "},
        {"", "none"},
        {"<!-- -->", "none"},
        {"{\"state\": \"\xff\"}", "none"},
        {std::string(100000, '['), "none"},
    };
    for (const auto& [reply, expected] : rows) {
        testing::internal::CaptureStdout();
        const auto status = parse_install_status(reply);
        const auto said = testing::internal::GetCapturedStdout();
        EXPECT_EQ(status ? std::to_string(status->version) + ' ' + status->state + ' ' + status->progress + ' ' +
                               status->error
                         : "none",
                  expected)
            << reply;
        EXPECT_THAT(said, HasSubstr(status ? "\r\nVersion: " : "]\r\nError parsing json payload\n"));
    }
}

/// A real node, and the workers against it. Whole sessions stand in the tests of the control interface.
class Wifi_test : public testing::Test {
protected:
    static constexpr const char* host = "node-1.local";

    void SetUp() override
    {
        pauses.clear();
        on_pause = [] {};
        thread::set_pause([](std::chrono::milliseconds duration) {
            pauses.push_back(duration);
            on_pause();
        });
        harness::write_file(package_, std::string(200'000, 'p'));
        set_allowed_silence(1s);
    }
    void TearDown() override
    {
        thread::set_pause(nullptr);
        set_allowed_silence(0s);
        ::unsetenv("FLINTROW_RESOLVE");
        ::unsetenv("http_proxy");
    }

    void start_node(const Words& options)
    {
        Words words{FLINTROW_BIN_DIR "/wifi_node", "--no-bus"};
        words.insert(words.end(), options.begin(), options.end());
        node_.reset();
        node_ = std::make_unique<harness::Process>(words);
        const auto port = std::to_string(node_->listens().value());
        ::setenv("FLINTROW_RESOLVE", (std::string(host) + ":80:127.0.0.1:" + port).c_str(), 1);
    }
    /// Runs a worker with a new record; its `error`.
    int run(void* (*worker)(void*), const std::string& to = host)
    {
        record_ = std::make_unique<Transfer_record>();
        record_->package = Package{package_, package_, "2.1.0", to};
        return run_with_record(worker);
    }
    int run_with_record(void* (*worker)(void*))
    {
        testing::internal::CaptureStdout();
        EXPECT_EQ(worker(record_.get()), record_.get());
        said_ = testing::internal::GetCapturedStdout();
        return record_->error;
    }

    harness::Bench bench_;
    std::string package_ = bench_.path("update.zip");
    std::unique_ptr<harness::Process> node_;
    std::unique_ptr<Transfer_record> record_;
    std::string said_;
    static inline std::function<void()> on_pause; ///< happens in place of a wait
    static inline std::vector<std::chrono::milliseconds> pauses;
};

TEST_F(Wifi_test, each_failure_of_a_request_has_its_code)
{
    struct Case {
        void* (*worker)(void*);
        Words node;
        int error;
        std::string words = "";
        std::string to = host;
    };
    const Case cases[] = {
        {&SendHandler, {"--upload", "201"}, 34, "HTTP Response code: 201 \r\n"},
        {&SendHandler, {"--upload", "close"}, 34, "curl_easy_perform() failed: (52) "},
        {&SendHandler, {"--upload", "endless"}, 34, "curl_easy_perform() failed: (23) "},
        {&SendHandler, {"--upload", "silent"}, 34, "curl_easy_perform() failed: (28) "},
        {&SendHandler, {"--upload", "usual"}, 34, "curl_easy_perform() failed: (3) ", "x@node-1.local"},
        {&SendHandler, {"--upload", "usual"}, 34, "curl_easy_perform() failed: (3) ", "node-1.local/a?"},
        {&InstallHandler, {"--install", "close"}, 35},
        {&InstallHandler, {"--install", "endless"}, 35},
        {&InstallHandler, {"--install", "silent"}, 35},
        {&InstallHandler, {"--install", "redirect"}, 35},
        {&InstallHandler, {"--install", "usual"}, 35}, // has no package
        {&InstallHandler, {"--user", "other"}, 35},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(testing::PrintToString(each.node) + ' ' + each.to);
        start_node(each.node);
        EXPECT_EQ(run(each.worker, each.to), each.error);
        EXPECT_THAT(said_, HasSubstr(each.words));
    }
    EXPECT_TRUE(pauses.empty());
    record_ = std::make_unique<Transfer_record>(); // without a package
    EXPECT_EQ(run_with_record(&SendHandler), 33);
    EXPECT_EQ(run_with_record(&InstallHandler), 35);
    package_ = bench_.path("home"); // a directory
    EXPECT_EQ(run(&SendHandler), 31);
    EXPECT_THAT(said_, HasSubstr("Error Unable to stat file\n"));
}

TEST_F(Wifi_test, a_proxy_that_has_no_address_counts_as_a_node_that_has_none)
{
    ::setenv("http_proxy", ("http://" + std::string(64, 'a') + ":1").c_str(), 1);
    EXPECT_EQ(run(&SendHandler, "node"), 36);
    EXPECT_THAT(said_, HasSubstr("curl_easy_perform() failed: (5) "));
}

TEST_F(Wifi_test, polls_until_a_final_state_and_keeps_what_was_said_last)
{
    struct Case {
        Words statuses;      ///< the node's answers in turn
        std::size_t pauses;  ///< between them
        int error, progress; ///< at the end
    };
    const std::string first = R"(text:{"state": "writing", "progress": "40", "error": "9"})";
    const std::string end = R"(text:{"state": "complete", "progress": "100", "error": "0"})";
    const Case cases[] = {
        {{end}, 0, 0, 100},
        {{first, R"(text:{"state": "rebooting", "progress": "41%", "error": "7"})"}, 1, 7, 41},
        {{first, R"(text:{"state": "rebooting"})"}, 1, 0, 0},
        {{first, "text:busy", "500", "close", "endless", "silent", end}, 6, 0, 100},
        {{R"(text:{"state": "rebooting", "progress": "999999999999", "error": "4294967296"})"}, 0, INT32_MAX, 100},
        {{R"(text:{"state": "Complete"})",
          R"(text:{"state": "complete", "progress": "-5", "error": "-9999999999"})"},
         1,
         INT32_MIN,
         0},
        {{end + "<!DOCTYPE html>{"}, 0, 0, 100},
        {{"redirect", "redirect", end}, 0, 0, 100},
        {{"redirect", "redirect", "redirect", "redirect", "redirect", "redirect", end}, 1, 0, 100},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(testing::PrintToString(each.statuses));
        Words options{"--install", "200"};
        for (const auto& status : each.statuses) {
            options.insert(options.end(), {"--status", status});
        }
        start_node(options);
        pauses.clear();
        EXPECT_EQ(run(&InstallHandler), each.error);
        EXPECT_EQ(record_->progress, each.progress);
        EXPECT_EQ(pauses, std::vector<std::chrono::milliseconds>(each.pauses, 2s));
    }
}

/// What the bus thread reads between two polls.
TEST_F(Wifi_test, a_reply_that_is_no_status_changes_nothing_and_a_node_that_is_away_is_awaited)
{
    Words read;
    on_pause = [&] {
        read.push_back(std::to_string(record_->error) + '/' + std::to_string(record_->progress));
        if (read.size() == 3) {
            node_.reset();
        } else if (read.size() == 5) {
            start_node({"--status", R"(text:{"state": "complete", "progress": "100"})"});
        }
    };
    start_node({"--install", "200", "--status", R"(text:{"state": "a", "progress": "40", "error": "9"})",
                "--status", "text:busy", "--status", "markup"});
    EXPECT_EQ(run(&InstallHandler), 0);
    EXPECT_THAT(read, ElementsAre("9/40", "9/40", "0/0", "0/0", "0/0"));
    EXPECT_THAT(said_, HasSubstr("curl_easy_perform() failed: Couldn't connect to server\nReponse: []\r\n"));
}

TEST_F(Wifi_test, a_status_without_memory_for_it_is_an_error_until_the_next_one)
{
    std::vector<int> read;
    on_pause = [&] { read.push_back(record_->error); };
    start_node({"--install", "200", "--status", R"(text:{"state": "complete", "progress": "100"})"});
    missing_block = 2; // the first is of the request to install
    EXPECT_EQ(run(&InstallHandler), 0);
    EXPECT_THAT(read, ElementsAre(35));
}

} // namespace
} // namespace qv::can_bus::flr
