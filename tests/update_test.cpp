// The service against the simulated ECU in each of its moods, over a real router: `flintrow -v -w FILE -e`.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/harness/bench.h"

namespace {

using namespace std::chrono_literals;
using harness::Bench;
using testing::HasSubstr;
using testing::Not;
using Options = std::vector<std::string>;

constexpr const char* success = "Programming Complete!\r\n\r\n";
constexpr const char* refused = "MA Failed\t\t: \r\nMemory access bootload error! \r\n;";
constexpr const char* timed_out = "MemoryAccess Timeout: Aborting\r\n";
constexpr const char* failure = "Programming Failure!\r\n\r\n";

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
    EXPECT_TRUE(service->says(success, 100s)) << service->output() << ecu->output();
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
                    Mood{"lost_end_of_message", // of the first of four chunks of one length
                         {"--lose", "20", "--fault-frames", "transport", "--fault-from", "write", "--random-seed",
                          "33"},
                         3072},
                    Mood{"repeated_frames", {"--repeat", "10", "--fault-frames", "transport"}},
                    Mood{"another_address_after_the_restart", {"--return-address", "130"}},
                    Mood{"less_than_a_frame", {}, 7}, Mood{"chunks_of_768_768_464", {}, 2000},
                    Mood{"bus_of_250_kbit",
                         {},
                         20000,
                         {"--bitrate", "250000"},
                         "<ecu><tp tx_dt_message_count_time_cycle_maximum_c=\"8\"/></ecu>"}),
    [](const auto& row) { return std::string(row.param.name); });

/// Where a share of all frames is lost, luck decides how it ends.
class Update_over_a_bad_bus : public testing::TestWithParam<Mood> {};

TEST_P(Update_over_a_bad_bus, ends_with_the_right_flash_content_or_says_that_it_failed)
{
    Bench bench;
    bench.start_router();
    const auto update = bench.make_update(3072); // chunks of one length: nothing tells one from another
    const auto ecu = bench.start_ecu(GetParam().ecu);
    const auto service = bench.start_service({"-w", update, "-e"});
    EXPECT_EQ(service->ends(200s), 0) << service->output() << ecu->output();
    const auto says = [&service](const char* words) { return service->output().find(words) != std::string::npos; };
    EXPECT_NE(says(success), says(failure) || says("Memory access bootload error!"))
        << service->output() << ecu->output();
    EXPECT_TRUE(!says(success) || bench.flash() == bench.program()) << service->output() << ecu->output();
}

INSTANTIATE_TEST_SUITE_P(
    shares, Update_over_a_bad_bus,
    testing::Values(
        Mood{"transport_from_the_ecu_lost",
             {"--lose", "20", "--fault-frames", "transport", "--fault-from", "write", "--random-seed", "5"}},
        Mood{"frames_from_the_ecu_lost", {"--lose", "5", "--fault-from", "enter", "--random-seed", "2"}},
        Mood{"frames_to_the_ecu_lost", {"--deaf", "10", "--fault-from", "enter"}},
        Mood{"frames_lost_both_ways", {"--lose", "10", "--deaf", "10", "--fault-from", "enter"}},
        Mood{"frames_from_the_ecu_repeated", {"--repeat", "30", "--fault-from", "enter"}}),
    [](const auto& row) { return std::string(row.param.name); });

struct Failure {
    const char* name;
    Options ecu;
    std::vector<const char*> words;
};

std::ostream& operator<<(std::ostream& out, const Failure& row) { return out << row.name; }

class Update_fails : public testing::TestWithParam<Failure> {};

TEST_P(Update_fails, with_words_that_tell_why_and_status_0)
{
    Bench bench;
    bench.start_router();
    const auto update = bench.make_update(3000);
    const auto ecu = bench.start_ecu(GetParam().ecu);
    const auto service = bench.start_service({"-w", update, "-e"});
    for (const char* words : GetParam().words) {
        EXPECT_TRUE(service->says(words, 70s)) << words << "\n" << service->output() << ecu->output();
    }
    EXPECT_EQ(service->ends(), 0);
    EXPECT_THAT(service->output(), Not(HasSubstr(success)));
}

INSTANTIATE_TEST_SUITE_P(
    moods, Update_fails,
    testing::Values(
        Failure{"refused_bootloader", {"--refuse", "enter"}, {refused}},
        Failure{"refused_erase", {"--refuse", "erase"}, {refused}},
        Failure{"refused_write", {"--refuse", "write:2"}, {refused}},
        Failure{"refused_checksum", {"--refuse", "checksum"}, {refused}},
        Failure{"refused_reset", {"--refuse", "reset"}, {refused}},
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
