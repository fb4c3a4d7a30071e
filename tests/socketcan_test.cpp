// The service on real CAN interfaces of the kernel: "can0" and "can1" are controllers on one bus, "vcan0" is
// virtual. Needs root and the program `ip`, by which the rates of the controllers are set and read.

#include <csignal>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/harness/bench.h"
#include "bench/harness/can_interfaces.h"

namespace {

using namespace std::chrono_literals;
using harness::Bench;
using testing::AllOf;
using testing::HasSubstr;

/// What a command of the shell writes.
std::string output_of(const std::string& command)
{
    harness::Process shell({"/bin/sh", "-c", command});
    EXPECT_EQ(shell.ends(), 0) << command << "\n" << shell.output();
    return shell.output();
}

std::string shown(const char* name) { return output_of(std::string("ip -details link show ") + name); }

/// Whether both controllers are up and have this rate.
void expect_rate(const std::string& rate)
{
    for (const char* name : {"can0", "can1"}) {
        EXPECT_THAT(shown(name), AllOf(HasSubstr(",UP,"), HasSubstr("bitrate " + rate + " ")));
    }
}

class Socketcan : public testing::Test {
protected:
    void SetUp() override
    {
        if (const auto obstacle = harness::obstacle({"can0", "can1", "vcan0"}); !obstacle.empty()) {
            GTEST_SKIP() << obstacle;
        }
        for (const std::string set : {"ip link set can0 ", "ip link set can1 "}) {
            output_of(set + "down && " + set + "up type can bitrate 250000 sample-point 0.875 restart-ms 0");
        }
    }
    void use(const std::string& of_service, const std::string& of_ecus)
    {
        bench.use_can(of_service, of_ecus);
        update = bench.make_update(5000);
        ecu = bench.start_ecu();
        ASSERT_TRUE(ecu->says("address 0x80 claimed"));
    }
    void expect_success()
    {
        EXPECT_TRUE(service->says("Programming Complete!\r\n\r\n", 100s)) << service->output() << ecu->output();
        EXPECT_EQ(service->ends(), 0);
        EXPECT_TRUE(bench.flash() == bench.program()) << bench.flash().size();
        EXPECT_THAT(ecu->output(), HasSubstr("restarted, version 2.0.0"));
    }

    Bench bench;
    std::string update;
    std::unique_ptr<harness::Process> ecu;
    std::unique_ptr<harness::Process> service;
};

TEST_F(Socketcan, programs_an_ecu_over_a_virtual_bus_and_over_a_real_one)
{
    for (const auto& [of_service, of_ecus] : {std::pair("vcan0", "vcan0"), {"can1", "can0"}}) {
        use(of_service, of_ecus);
        service = bench.start_service({"-v", "-w", update, "-e"});
        expect_success();
        EXPECT_THAT(shown(of_service), Not(HasSubstr("restart-ms 100"))); // only -b makes it the service's own
    }
}

TEST_F(Socketcan, changes_the_rate_of_both_sides_for_the_programming_and_back)
{
    use("can1", "can0");
    service = bench.start_service({"-v", "-w", update, "-e", "-b", "500000"});
    EXPECT_TRUE(service->says("Channel: can1 bittiming has changed - updating and resetting\n"));
    EXPECT_TRUE(service->says("Setting baud to 500000\n", 60s)) << service->output() << ecu->output();
    EXPECT_TRUE(ecu->says("bit rate 500000\n"));
    EXPECT_TRUE(service->says("Waiting for bus to settle...\r"));
    EXPECT_TRUE(service->says("Starting erase:", 30s)) << service->output() << ecu->output();
    expect_rate("500000");
    EXPECT_TRUE(ecu->says("restarted, version 2.0.0", 100s));
    EXPECT_TRUE(ecu->says("bit rate 250000\n"));
    expect_success();
    expect_rate("250000");
    EXPECT_THAT(shown("can1"), AllOf(HasSubstr("restart-ms 100"), HasSubstr("qlen 150")));
}

TEST_F(Socketcan, changes_no_rate_when_the_wanted_one_is_there)
{
    use("can1", "can0");
    service = bench.start_service({"-v", "-w", update, "-e", "-b", "250000"});
    expect_success();
    EXPECT_THAT(service->output(), Not(HasSubstr("Setting baud")));
    EXPECT_THAT(ecu->output(), Not(HasSubstr("bit rate")));
    EXPECT_THAT(shown("can1"), AllOf(HasSubstr("restart-ms 100"), HasSubstr("bitrate 250000 sample-point 0.812")));
}

TEST_F(Socketcan, hears_the_bus_again_after_the_interface_was_away)
{
    use("vcan0", "vcan0");
    service = bench.start_service({"-v", "-w", update});
    EXPECT_TRUE(service->says("Enter bootloader", 60s)) << service->output() << ecu->output();
    output_of("ip link set vcan0 down");
    EXPECT_TRUE(ecu->says("vcan0 lost"));
    output_of("ip link set vcan0 up");
    EXPECT_TRUE(ecu->says("vcan0 connected"));
    EXPECT_TRUE(service->says("Target Found! [0x80]")) << service->output() << ecu->output(); // its new claim
    service->signal(SIGTERM);
    EXPECT_EQ(service->ends(), 0);
}

} // namespace
