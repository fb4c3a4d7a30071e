// The traffic of a whole update as tshark reads it, who knows nothing of this project.

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/harness/bench.h"

namespace {

using namespace std::chrono_literals;
using harness::Bench;
using harness::Process;
using testing::HasSubstr;

std::string hex(const std::string& bytes)
{
    std::string digits;
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        digits += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    }
    return digits;
}

class Traffic : public testing::Test {
protected:
    /// What the script prints of the log; an option may be given.
    std::string told(int status, const std::vector<std::string>& options = {})
    {
        std::vector<std::string> command{FLINTROW_SCRIPTS_DIR "/traffic", bench.path("traffic.log")};
        command.insert(command.end(), options.begin(), options.end());
        Process script(command);
        EXPECT_EQ(script.ends(60s), status) << script.output();
        return script.output();
    }

    Bench bench;
};

TEST_F(Traffic, of_an_update_is_J1939_to_tshark_and_its_transports_are_complete_and_hold_the_program)
{
    bench.start_router();
    const auto update = bench.make_update(5000);
    const auto ecu = bench.start_ecu();
    const auto node = bench.start_node({"--report-ms", "500"}); // by broadcasts
    const auto service = bench.start_service({"-w", update, "-e"});
    EXPECT_TRUE(service->says("Programming Complete!", 100s)) << service->output() << ecu->output();
    EXPECT_EQ(service->ends(), 0);
    bench.stop_router();

    EXPECT_THAT(told(0), testing::ContainsRegex("[1-9][0-9]+ of PGN 65441 .0x0FFA1. from 0x[0-9A-F]+ to all\n"));
    std::istringstream chunks(told(0, {"--data", "0xD700"}));
    std::string written;
    for (std::string chunk; std::getline(chunks, chunk);) {
        written += chunk.substr(2); // behind the count of its bytes
    }
    EXPECT_EQ(written, hex(bench.program()));

    Process can_utils(
        {"/bin/sh", "-c", R"(log2asc -I "$0" can0 | grep -c ' Rx '; wc -l <"$0")", bench.path("traffic.log")});
    can_utils.ends(60s);
    unsigned frames = 0;
    unsigned lines = 1;
    std::istringstream(can_utils.output()) >> frames >> lines;
    EXPECT_EQ(frames, lines) << can_utils.output();
}

TEST_F(Traffic, that_breaks_off_or_is_malformed_is_told)
{
    const std::string request = "(0.1) can0 1CEC8090#100A000200EBFE00\n";
    const std::string packets = "(0.2) can0 1CEB8090#0101020304050607\n(0.3) can0 1CEB8090#0208090AFFFFFFFF\n";
    const std::string end = "(0.4) can0 1CEC9080#130A0002FFEBFE00\n";
    const std::string last = packets.substr(packets.find("(0.3)"));
    const std::pair<std::string, const char*> rows[] = {
        {request + packets + end, "1 long messages, each complete"},
        {request + packets, "has no end"},
        {request + last + end, "packet 2 where 1 is due"},
        {request + packets + last + end, "packet 2 where 3 is due"},
        {request + packets.substr(0, packets.find("(0.3)")) + end, "1 packets of a message of 10 bytes"},
        {request + packets + "(0.4) can0 1CEC9080#130B0002FFEBFE00\n", "confirms another message"},
        {packets, "a packet of no message"},
        {request + request, "begins within another"},
        {"(0.1) can0 123#1122\n", "frame 1 is"},
    };
    for (const auto& [log, wanted] : rows) {
        harness::write_file(bench.path("traffic.log"), log);
        EXPECT_THAT(told(log == rows[0].first ? 0 : 1), HasSubstr(wanted)) << log;
    }
}

} // namespace
