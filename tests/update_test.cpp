// The service against the simulated ECU in each of its moods, over a real router: `flintrow -v -w FILE -e`.

#include <csignal>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/harness/bench.h"

namespace {

using namespace std::chrono_literals;
using harness::Bench;
using testing::HasSubstr;
using Options = std::vector<std::string>;

struct Mood {
    const char* name;
    Options ecu;
    std::size_t size = 5000;
    Options router = {};
    const char* settings = "";
};

std::ostream& operator<<(std::ostream& out, const Mood& mood) { return out << mood.name; }

class Update_succeeds : public testing::TestWithParam<Mood> {};

TEST_P(Update_succeeds, with_the_right_flash_content_and_status_0)
{
    Bench bench;
    bench.start_router(GetParam().router);
    bench.write_configuration(GetParam().settings);
    const auto update = bench.make_update(GetParam().size);
    const auto ecu = bench.start_ecu(GetParam().ecu);
    const auto service = bench.start_service({"-v", "-w", update, "-e"});
    EXPECT_TRUE(service->says("Programming Complete!\r\n\r\n", 100s)) << service->output() << ecu->output();
    EXPECT_EQ(service->ends(), 0);
    EXPECT_TRUE(bench.flash() == bench.program()) << bench.flash().size();
    EXPECT_THAT(ecu->output(), HasSubstr("restarted, version 2.0.0"));
}

INSTANTIATE_TEST_SUITE_P(
    moods, Update_succeeds,
    testing::Values(Mood{"plain", {}}, Mood{"with_a_key", {"--seed", "1234"}},
                    Mood{"without_heartbeat", {"--heartbeat", "off"}},
                    Mood{"busy_three_times", {"--busy", "3", "--busy-step", "write"}},
                    Mood{"one_packet_at_a_time", {"--cts-window", "1"}, 1000},
                    Mood{"slow_answers", {"--delay-ms", "200", "--erase-ms", "300"}},
                    Mood{"aborted_transport", {"--abort-transport", "2"}},
                    Mood{"frames_lost_on_the_way", {"--deaf", "5", "--fault-frames", "transport"}},
                    Mood{"repeated_frames", {"--repeat", "10", "--fault-frames", "transport"}},
                    Mood{"another_address_after_the_restart", {"--return-address", "130"}},
                    Mood{"less_than_a_frame", {}, 7}, Mood{"chunks_of_768_768_464", {}, 2000},
                    Mood{"bus_of_250_kbit",
                         {},
                         20000,
                         {"--bitrate", "250000"},
                         "<ecu><tp tx_dt_message_count_time_cycle_maximum_c=\"8\"/></ecu>"}),
    [](const auto& row) { return std::string(row.param.name); });

struct Failure {
    const char* name;
    Options ecu;
    std::vector<const char*> words;
    bool ends_by_itself = false;
};

std::ostream& operator<<(std::ostream& out, const Failure& failure) { return out << failure.name; }

class Update_fails : public testing::TestWithParam<Failure> {};

TEST_P(Update_fails, with_words_that_tell_why)
{
    Bench bench;
    bench.start_router();
    const auto update = bench.make_update(3000);
    const auto ecu = bench.start_ecu(GetParam().ecu);
    const auto service = bench.start_service({"-w", update});
    for (const char* words : GetParam().words) {
        EXPECT_TRUE(service->says(words, 70s)) << words << "\n" << service->output() << ecu->output();
    }
    if (!GetParam().ends_by_itself) {
        service->signal(SIGTERM);
    }
    EXPECT_EQ(service->ends(), 0);
}

constexpr const char* refused = "MA Failed\t\t: \r\nMemory access bootload error! \r\n;";
constexpr const char* timed_out = "MemoryAccess Timeout: Aborting\r\n";
constexpr const char* failure = "Programming Failure!\r\n\r\n";

INSTANTIATE_TEST_SUITE_P(
    moods, Update_fails,
    testing::Values(
        Failure{"refused_bootloader", {"--refuse", "enter"}, {refused}, true},
        Failure{"refused_erase", {"--refuse", "erase"}, {refused}, true},
        Failure{"refused_write", {"--refuse", "write:2"}, {refused}, true},
        Failure{"refused_checksum", {"--refuse", "checksum"}, {refused}, true},
        Failure{"refused_reset", {"--refuse", "reset"}, {refused}, true},
        Failure{"silent_at_once", {"--silent", "enter"}, {timed_out, failure}},
        Failure{"silent_in_the_erase", {"--silent", "erase"}, {timed_out, failure}},
        Failure{"silent_in_the_data", {"--silent", "middle:2"}, {timed_out, failure}},
        Failure{"silent_at_the_checksum", {"--silent", "checksum"}, {timed_out, failure}},
        Failure{"checksum_of_five_bytes", {"--checksum-length", "5"}, {"Invalid checksum length\r\n", failure}},
        Failure{"does_not_return", {"--no-return"}, {"Resetting bootloader\r\n", failure}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Update, takes_the_ecu_that_the_file_fits_among_several)
{
    Bench bench;
    bench.start_router();
    const auto update = bench.make_update(1000);
    const auto other = bench.start_ecu({"--part-number", "B1", "--address", "0x90", "--name", "A0088400FFE00002",
                                        "--flash-out", bench.path("other.bin")});
    const auto ecu = bench.start_ecu();
    const auto service = bench.start_service({"-w", update, "-e"});
    EXPECT_TRUE(service->says("Programming Complete!", 60s)) << service->output();
    EXPECT_TRUE(bench.flash() == bench.program()) << bench.flash().size();
    EXPECT_EQ(harness::read_file(bench.path("other.bin")), "");
}

TEST(Update, waits_for_an_ecu_that_comes_later_and_for_the_router)
{
    Bench bench;
    bench.start_router();
    const auto update = bench.make_update(1000);
    bench.stop_router();
    const auto service = bench.start_service({"-w", update, "-e"});
    EXPECT_TRUE(service->says("Initailize type 0 progress 18\r\n"));
    EXPECT_FALSE(service->says("Jumping", 2s));
    bench.start_router();
    EXPECT_FALSE(service->says("Jumping", 2s));
    const auto ecu = bench.start_ecu();
    EXPECT_TRUE(service->says("Programming Complete!", 60s)) << service->output();
    EXPECT_TRUE(bench.flash() == bench.program()) << bench.flash().size();
}

} // namespace
