// The traffic of a whole update as tshark reads it, who knows nothing of this project.

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/harness/bench.h"

namespace {

using namespace std::chrono_literals;
using harness::Bench;
using harness::Process;

/// What tshark dissects from one frame.
struct Frame {
    std::uint32_t pgn, source, destination;
    std::string data;
};

std::string bytes_of(const std::string& digits)
{
    std::string bytes;
    for (std::size_t place = 0; place + 1 < digits.size(); place += 2) {
        bytes.push_back(static_cast<char>(std::stoul(digits.substr(place, 2), nullptr, 16)));
    }
    return bytes;
}

/// Every frame of the log has to be one of J1939, and none malformed.
std::vector<Frame> dissect(const std::string& log)
{
    Process tshark({"/usr/bin/tshark", "-r", log, "-d", "can.subdissector,j1939", "-T", "fields", "-e",
                    "frame.protocols", "-e", "_ws.malformed", "-e", "j1939.pgn", "-e", "j1939.src_addr", "-e",
                    "j1939.dst_addr", "-e", "j1939.data"});
    EXPECT_EQ(tshark.ends(60s), 0) << tshark.output();
    std::istringstream lines(tshark.output());
    std::vector<Frame> frames;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("exported_pdu:")) {
            continue; // a word to the user
        }
        const std::string whole = "exported_pdu:can:j1939\t\t";
        EXPECT_EQ(line.substr(0, whole.size()), whole) << line;
        std::istringstream fields(line.substr(whole.size()));
        Frame frame{};
        std::string digits;
        fields >> frame.pgn >> frame.source >> frame.destination >> digits;
        frame.data = bytes_of(digits);
        frames.push_back(frame);
    }
    return frames;
}

/// Puts the messages of the transport protocol together [ISO 11783-3 5.10]: nothing of them may be missing or
/// twice.
class Assembly {
public:
    struct Message {
        std::uint32_t pgn;
        std::string head; ///< size, packets and PGN, as they stand in RTS and EOMA
        std::string data;
        unsigned packets;
    };

    void take(const Frame& frame)
    {
        constexpr std::uint32_t connection = 60416;
        constexpr std::uint32_t packet = 60160;
        if (frame.pgn == packet) {
            take_packet(open_.find({frame.source, frame.destination}), frame.data);
        } else if (frame.pgn == connection && (frame.data.at(0) == 16 || frame.data.at(0) == 32)) {
            EXPECT_TRUE(
                open_.try_emplace({frame.source, frame.destination}, Message{pgn(frame), head(frame), "", 0})
                    .second)
                << "a second message begins";
        } else if (frame.pgn == connection && frame.data.at(0) == 19) {
            close(open_.find({frame.destination, frame.source}), frame);
        } else if (frame.pgn == connection) {
            EXPECT_EQ(frame.data.at(0), 17) << "neither a CTS";
        }
    }
    /// Broadcasts apart, which the end of the log may cut.
    bool has_open() const
    {
        return std::any_of(open_.begin(), open_.end(),
                           [](const auto& each) { return each.first.second != to_all; });
    }

    std::vector<Message> complete;

private:
    static constexpr std::uint32_t to_all = 255;
    using Sessions = std::map<std::pair<std::uint32_t, std::uint32_t>, Message>;

    static unsigned byte(const std::string& data, std::size_t place)
    {
        return static_cast<std::uint8_t>(data.at(place));
    }
    static std::uint32_t pgn(const Frame& frame)
    {
        return byte(frame.data, 5) | byte(frame.data, 6) << 8 | byte(frame.data, 7) << 16;
    }
    static std::string head(const Frame& frame) { return frame.data.substr(1, 3) + frame.data.substr(5); }

    void take_packet(Sessions::iterator session, const std::string& data)
    {
        ASSERT_TRUE(session != open_.end()) << "a packet of no message";
        EXPECT_EQ(byte(data, 0), ++session->second.packets);
        session->second.data += data.substr(1);
        if (session->first.second == to_all && session->second.packets == byte(session->second.head, 2)) {
            complete.push_back(session->second); // nobody answers a broadcast
            open_.erase(session);
        }
    }
    void close(Sessions::iterator session, const Frame& end)
    {
        ASSERT_TRUE(session != open_.end()) << "the end of no message";
        Message message = session->second;
        open_.erase(session);
        EXPECT_EQ(message.head, head(end));
        EXPECT_EQ(message.packets, byte(message.head, 2));
        message.data.resize(byte(message.head, 0) | byte(message.head, 1) << 8);
        complete.push_back(message);
    }

    Sessions open_; ///< by source and destination
};

TEST(Traffic, of_an_update_is_J1939_to_tshark_and_its_transports_are_complete_and_hold_the_program)
{
    Bench bench;
    bench.start_router();
    const auto update = bench.make_update(5000);
    const auto ecu = bench.start_ecu();
    const auto node = bench.start_node({"--report-ms", "500"}); // by broadcasts
    const auto service = bench.start_service({"-w", update, "-e"});
    EXPECT_TRUE(service->says("Programming Complete!", 100s)) << service->output() << ecu->output();
    EXPECT_EQ(service->ends(), 0);
    bench.stop_router();

    Assembly assembly;
    for (const auto& frame : dissect(bench.path("traffic.log"))) {
        assembly.take(frame);
    }
    EXPECT_FALSE(assembly.has_open());
    std::string program;
    std::size_t reports = 0;
    for (const auto& message : assembly.complete) {
        reports += message.pgn == 65441 ? 1 : 0;
        program += message.pgn == 0xD700 ? message.data.substr(1) : ""; // behind the count of its bytes
    }
    EXPECT_TRUE(program == bench.program()) << program.size();
    EXPECT_GT(reports, 5U);
}

} // namespace
