#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/harness/bench.h"
#include "framework/thread/pause.h"
#include "service/wifi/install_handler.h"
#include "service/wifi/install_status.h"
#include "service/wifi/request.h"
#include "service/wifi/send_handler.h"
#include "service/wifi/transfer_record.h"

namespace qv::can_bus::flr {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using Words = std::vector<std::string>;

TEST(Transfer_record_test, the_eleventh_report_in_a_row_without_a_new_byte_is_the_last)
{
    struct Case {
        const char* what;
        std::uint64_t total, sent;
        int reports_before; ///< with `sent`, the first of which brings new bytes
        bool goes_on;
    };
    const Case cases[] = {
        {"ten stalls", 100, 50, 11, true},
        {"eleven stalls", 100, 50, 12, false},
        {"the node takes its time with all bytes sent", 100, 100, 50, true},
        {"nothing to send yet", 0, 0, 50, true},
    };
    for (const Case& each : cases) {
        Transfer_record record;
        bool goes_on = true;
        for (int i = 0; i < each.reports_before; ++i) {
            EXPECT_TRUE(goes_on) << each.what;
            goes_on = record.count(each.total, each.sent);
        }
        EXPECT_EQ(goes_on, each.goes_on) << each.what;
        EXPECT_TRUE(record.count(each.total, each.sent + 1)) << each.what << ": one more byte is no stall";
        EXPECT_EQ(record.stall_count, 0U);
    }
}

TEST(Transfer_record_test, reports_a_second_apart_and_counts_percent_of_more_than_32_bits)
{
    Transfer_record record;
    const std::array<double, 5> times{0.9, 1.0, 1.9, 2.5, 3.4};
    std::vector<bool> due;
    for (const double time : times) {
        due.push_back(record.report_is_due(time));
    }
    EXPECT_THAT(due, ElementsAre(false, true, false, true, false));
    EXPECT_TRUE(record.count(6'000'000'000, 5'999'999'999));
    EXPECT_EQ(record.progress, 99);
    EXPECT_EQ(record.bytes_sent, 5'999'999'999);
}

TEST(Install_status_test, reads_what_a_node_replies)
{
    struct Case {
        std::string reply;
        const char* expected; ///< "version state progress error", or "none"
    };
    const Case cases[] = {
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
        {R"({"state": "complete"} and more)", "none"},
        {"", "none"},
        {"<!-- -->", "none"},
        {"{\"state\": \"\xff\"}", "none"},
        {std::string(100000, '['), "none"},
    };
    for (const Case& each : cases) {
        testing::internal::CaptureStdout();
        const auto status = parse_install_status(each.reply);
        const auto said = testing::internal::GetCapturedStdout();
        EXPECT_EQ(status ? std::to_string(status->version) + ' ' + status->state + ' ' + status->progress + ' ' +
                               status->error
                         : "none",
                  each.expected)
            << each.reply;
        EXPECT_THAT(said, HasSubstr(status ? "\r\nVersion: " : "]\r\nError parsing json payload\n"));
    }
}

TEST(Install_status_test, an_error_beyond_all_numbers_does_not_become_none)
{
    EXPECT_EQ(decimal_value("4294967296"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(decimal_value("-99999999999999999999"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(decimal_value(" 12%"), 12);
    EXPECT_EQ(decimal_value("none"), 0);
}

/// A real node, and the workers against it.
class Wifi_test : public testing::Test {
protected:
    static constexpr const char* host = "node-1.local";
    static constexpr std::size_t more_than_sockets_hold = 32'000'000; // bytes

    void SetUp() override
    {
        on_pause() = [this](auto duration) { pauses_.push_back(duration); };
        thread::set_pause([](std::chrono::milliseconds duration) { on_pause()(duration); });
        harness::write_file(package_, std::string(1'200'000, 'p'));
        resolve("1"); // nobody listens there
    }
    void TearDown() override
    {
        thread::set_pause(nullptr);
        set_allowed_silence(0s);
        ::unsetenv("FLINTROW_RESOLVE");
    }

    /// What happens in place of a wait.
    static std::function<void(std::chrono::milliseconds)>& on_pause()
    {
        static std::function<void(std::chrono::milliseconds)> function;
        return function;
    }
    static void resolve(const std::string& port)
    {
        ::setenv("FLINTROW_RESOLVE", (std::string(host) + ":80:127.0.0.1:").append(port).c_str(), 1);
    }
    void start_node(const Words& options)
    {
        Words words{FLINTROW_BIN_DIR "/wifi_node", "--no-bus", "--package-out", received_};
        words.insert(words.end(), options.begin(), options.end());
        node_.reset();
        node_ = std::make_unique<harness::Process>(words);
        ASSERT_TRUE(node_->says("listening on 127.0.0.1:") && node_->says("\n")) << node_->output();
        const auto& text = node_->output();
        resolve(text.substr(text.rfind(':') + 1, text.rfind('\n') - text.rfind(':') - 1));
    }
    /// Runs a worker with a new record; its `error`.
    int run(void* (*worker)(void*), const std::string& to = host)
    {
        record_ = std::make_unique<Transfer_record>();
        record_->package = Package{package_, "2.1.0", to};
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
    std::string package_ = bench_.path("update.zip"), received_ = bench_.path("received.zip");
    std::unique_ptr<harness::Process> node_;
    std::unique_ptr<Transfer_record> record_;
    std::string said_;
    std::vector<std::chrono::milliseconds> pauses_;
};

TEST_F(Wifi_test, the_package_arrives_and_is_installed)
{
    start_node({"--install-polls", "4"});
    EXPECT_EQ(run(&SendHandler), 0);
    EXPECT_EQ(said_, "Send File:\r\n" + package_ + "\r\n");
    EXPECT_EQ(harness::read_file(received_), harness::read_file(package_));

    EXPECT_EQ(run(&InstallHandler), 0);
    EXPECT_EQ(record_->progress, 100);
    EXPECT_THAT(pauses_, ElementsAre(2s, 2s, 2s));
    EXPECT_THAT(said_, HasSubstr("URL: http://node-1.local:80/update\r\nURL: "
                                 "http://node-1.local:80/update/status_json\r\nReponse: [{"));
    EXPECT_TRUE(node_->says("installing version 2.1.0\n"));
}

TEST_F(Wifi_test, each_failure_of_an_upload_has_its_code)
{
    struct Case {
        Words node; ///< none: nobody listens
        int error;
        std::string words;
        std::string to = host;
        std::size_t size = 200'000;
    };
    const Case cases[] = {
        {{}, 30, "curl_easy_perform() failed: (7) "},
        {{"--break-off", "50000"}, 30, "curl_easy_perform() failed: (5", host, more_than_sockets_hold},
        {{"--password", "other"}, 34, "HTTP Response code: 401 \r\n"},
        {{"--upload", "500"}, 34, "HTTP Response code: 500 \r\n"},
        {{"--upload", "201"}, 34, "HTTP Response code: 201 \r\n"},
        {{"--upload", "redirect"}, 34, "HTTP Response code: 302 \r\n"},
        {{"--upload", "close"}, 34, "curl_easy_perform() failed: (52) "},
        {{"--upload", "endless"}, 34, "curl_easy_perform() failed: (23) "},
        {{"--upload", "silent"}, 34, "curl_easy_perform() failed: (28) "},
        {{"--upload", "usual"}, 36, "curl_easy_perform() failed: (6) ", std::string(64, 'a') + ".local"},
        {{"--upload", "usual"}, 34, "curl_easy_perform() failed: (3) ", std::string("x@") + host},
        {{"--upload", "usual"}, 34, "curl_easy_perform() failed: (3) ", std::string(host) + "/a?"},
    };
    set_allowed_silence(1s);
    for (const Case& each : cases) {
        SCOPED_TRACE(testing::PrintToString(each.node) + ' ' + each.to);
        harness::write_file(package_, std::string(each.size, 'p'));
        resolve("1");
        if (!each.node.empty()) {
            start_node(each.node);
        }
        EXPECT_EQ(run(&SendHandler, each.to), each.error);
        EXPECT_THAT(said_, HasSubstr(each.words));
    }
}

TEST_F(Wifi_test, nothing_is_sent_without_a_package_or_its_file)
{
    record_ = std::make_unique<Transfer_record>();
    EXPECT_EQ(run_with_record(&SendHandler), 33);
    EXPECT_EQ(run_with_record(&InstallHandler), 35);
    package_ = bench_.path("deleted.zip");
    EXPECT_EQ(run(&SendHandler), 32);
    EXPECT_EQ(said_, "Send File:\r\n" + package_ + "\r\nError Unable to open upload directory\n");
}

TEST_F(Wifi_test, the_bus_thread_sees_how_a_slow_upload_goes_on)
{
    start_node({"--read-rate", "2500000", "--answer-ms", "1200"});
    harness::write_file(package_, std::string(8'000'000, 'p'));
    auto record = std::make_unique<Transfer_record>();
    record->package = Package{package_, "2.1.0", host};
    std::thread worker(&SendHandler, record.get());
    std::vector<int> seen{0};
    while (record->progress < 100 && record->error == 0) {
        if (record->progress != seen.back()) {
            seen.push_back(record->progress);
        }
        std::this_thread::sleep_for(10ms);
    }
    worker.join();
    EXPECT_EQ(record->error, 0);
    EXPECT_EQ(record->bytes_sent / 8'000'000, 1U); // with the form around it
    EXPECT_GE(seen.size(), 2U);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
}

TEST_F(Wifi_test, a_node_that_stops_reading_ends_the_upload_after_about_eleven_seconds)
{
    start_node({"--stop-reading", "1000"});
    harness::write_file(package_, std::string(more_than_sockets_hold, 'p'));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(run(&SendHandler), 34);
    const auto time = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(time > 10s && time < 20s) << time / 1ms;
    EXPECT_THAT(said_, HasSubstr("no bytes transferred in 10 intervals, aborting\n"));
    EXPECT_THAT(said_, HasSubstr("curl_easy_perform() failed: (42) "));
}

TEST_F(Wifi_test, an_install_request_that_fails_ends_with_35)
{
    const Words moods[] = {{},
                           {"--install", "500"},
                           {"--install", "close"},
                           {"--install", "endless"},
                           {"--install", "silent"},
                           {"--install", "redirect"},
                           {"--user", "other"},
                           {"--install", "usual"}}; // has no package
    set_allowed_silence(1s);
    for (const Words& mood : moods) {
        resolve("1");
        if (!mood.empty()) {
            start_node(mood);
        }
        EXPECT_EQ(run(&InstallHandler), 35) << testing::PrintToString(mood);
    }
    EXPECT_TRUE(pauses_.empty());
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
        {{first, R"(text:{"state": "rebooting", "progress": "41", "error": "7"})"}, 1, 7, 41},
        {{first, R"(text:{"state": "rebooting"})"}, 1, 0, 0},
        {{first, "text:busy", "500", "close", "endless", "silent", end}, 6, 0, 100},
        {{R"(text:{"state": "Complete", "progress": "999999999999", "error": "99999999999"})",
          R"(text:{"state": "complete", "progress": "-5", "error": "-1"})"},
         1,
         -1,
         0},
        {{end + "<!DOCTYPE html>{"}, 0, 0, 100},
        {{"redirect", "redirect", end}, 0, 0, 100},
        {{"redirect", "redirect", "redirect", "redirect", "redirect", "redirect", end}, 1, 0, 100},
    };
    set_allowed_silence(1s);
    for (const Case& each : cases) {
        SCOPED_TRACE(testing::PrintToString(each.statuses));
        Words options{"--install", "200"};
        for (const auto& status : each.statuses) {
            options.insert(options.end(), {"--status", status});
        }
        start_node(options);
        pauses_.clear();
        EXPECT_EQ(run(&InstallHandler), each.error);
        EXPECT_EQ(record_->progress, each.progress);
        EXPECT_EQ(pauses_.size(), each.pauses);
    }
}

/// What the bus thread reads between two polls.
TEST_F(Wifi_test, a_reply_that_is_no_status_changes_nothing_and_a_node_that_is_away_is_awaited)
{
    Words read;
    on_pause() = [&](auto) {
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

} // namespace
} // namespace qv::can_bus::flr
