#include "bench/simulated_ecu/ecu.h"
#include "bench/simulated_ecu/options.h"
#include "bench/simulated_ecu/text.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <utility>

namespace bench::simulated {
namespace {

using namespace std::chrono_literals;

/// An ECU at address 0x80 and a tool at 0xF0; frames are text: the identifier and the data bytes.
class Ecu_test : public testing::Test, public Ecu::Outside {
protected:
    /// Runs an ECU of these options that has its address already.
    void run(const std::vector<const char*>& words = {})
    {
        start(words);
        pass(250ms);
        said_.clear();
    }
    void start(const std::vector<const char*>& words)
    {
        Options options;
        ASSERT_EQ(parse_options(words, options), "");
        ecu_.emplace(*this, options.ecu);
        ecu_->start(now_);
    }
    void hear(const std::string& text)
    {
        std::istringstream in(text);
        Record record;
        in >> std::hex >> record.identifier;
        for (unsigned byte = 0; in >> byte;) {
            record.data[record.length++] = static_cast<std::uint8_t>(byte);
        }
        ecu_->on_frame(record, now_);
    }
    void pass(Time time)
    {
        for (const Time end = now_ + time; now_ < end;) {
            ++now_;
            ecu_->on_time(now_);
        }
    }
    void expect(const std::vector<std::string>& frames, const std::string& why)
    {
        EXPECT_EQ(std::exchange(said_, {}), frames) << why;
    }
    /// Is silent until `time` has passed, and says this then.
    void says_after(Time time, const std::string& text)
    {
        pass(time - 1ms);
        expect({}, "before " + text);
        pass(1ms);
        expect({text}, "late");
    }
    /// Hears `request` and says `answers`, no less and no more.
    void exchange(const std::string& request, const std::vector<std::string>& answers)
    {
        hear(request);
        expect(answers, request);
    }
    /// The same, and the tool closes the operation.
    void step(const std::string& request, const std::vector<std::string>& answers)
    {
        exchange(request, answers);
        exchange("18D980F0 00 19 00 00 00 00 00 00", {});
    }

    void send(const Record& record) override
    {
        std::string text = format("%08X", record.identifier);
        for (unsigned i = 0; i < record.length; ++i) {
            text += format(" %02X", record.data[i]);
        }
        said_.push_back(text);
    }
    void report(const std::string&) override {}
    bool set_rate(std::uint32_t rate) override { return said_.push_back(format("rate %u", rate)), true; }
    void save(const Flash& flash) override
    {
        const Bytes bytes = flash.content()->bytes;
        saved_.assign(bytes.begin(), bytes.end());
    }

    Time now_{0};
    std::vector<std::string> said_;
    std::vector<std::uint8_t> saved_;
    std::optional<Ecu> ecu_;
};

const std::string proceed = "18D8F080 01 11 FF FF FF FF FF FF";
const std::string completed = "18D8F080 00 19 FF FF FF FF FF FF";
const std::string failed = "18D8F080 00 1B FF FF FF FF FF FF";
const std::string busy = "18D8F080 00 13 FF FF FF FF FF FF";

TEST_F(Ecu_test, contends_for_its_address_by_name)
{
    const std::array<const char*, 4> rows[] = {
        {"wins", "--name=A0088400FFE00002", "18EEFF80 01 00 E0 FF 00 84 08 A1",
         "18EEFF80 02 00 E0 FF 00 84 08 A0"},
        {"moves", "--name=A0088400FFE00002", "18EEFF80 01 00 E0 FF 00 84 08 A0",
         "18EEFF81 02 00 E0 FF 00 84 08 A0"},
        {"can't", "--name=20088400FFE00002", "18EEFF80 01 00 E0 FF 00 84 08 20",
         "18EEFFFE 02 00 E0 FF 00 84 08 20"},
    };
    for (const auto& [what, name, rival, answer] : rows) { // the bytes of a NAME go low first; the lower NAME wins
        run({name});
        hear(rival);
        pass(154ms); // the longest delay of "cannot claim"
        expect({answer}, what);
    }
}

TEST_F(Ecu_test, answers_nothing_but_its_claim_before_250_ms)
{
    start({});
    expect({"18EEFF80 01 00 E0 FF 00 84 08 A0"}, "start");
    exchange("18EA80F0 00 EE 00", {"18EEFF80 01 00 E0 FF 00 84 08 A0"});
    exchange("18EA80F0 8D FC 00", {});
    says_after(250ms, "1CECF080 10 18 00 04 FF 8D FC 00"); // "PN-1000*Bench*Simulated*", 24 bytes
}

TEST_F(Ecu_test, sends_a_long_answer_as_the_receiver_asks_for_it)
{
    run({"--part-number=A", "--serial=B", "--location=C", "--type=D", "--manufacturer=E"});
    exchange("18EA80F0 C5 FD 00", {"1CECF080 10 0A 00 02 FF C5 FD 00"});
    exchange("1CEC80F0 11 00 01 FF FF C5 FD 00", {}); // hold
    pass(1049ms);
    exchange("1CEC80F0 11 05 02 FF FF C5 FD 00", {"1CEBF080 02 2A 45 2A FF FF FF FF"});
    exchange("1CEC80F0 11 01 01 FF FF C5 FD 00", {"1CEBF080 01 41 2A 42 2A 43 2A 44"});
    exchange("1CEC80F0 FF 02 FF FF FF C5 FD 00", {}); // aborted: tries again
    says_after(500ms, "1CECF080 10 0A 00 02 FF C5 FD 00");
    exchange("1CEC80F0 13 0A 00 02 FF C5 FD 00", {});
    pass(1500ms);

    exchange("18EAFFF0 C5 FD 00", {"1CECFF80 20 0A 00 02 FF C5 FD 00"}); // asked globally: BAM, 50 ms apart
    says_after(50ms, "1CEBFF80 01 41 2A 42 2A 43 2A 44");
    says_after(50ms, "1CEBFF80 02 2A 45 2A FF FF FF FF");

    exchange("18EA80F0 EB FE 00", {"18FEEB80 45 2A 44 2A 42 2A 43 2A"}); // 8 bytes fit one frame
    exchange("18EA80F0 00 FF 00", {"18E8FF80 01 FF FF FF F0 00 FF 00"}); // not known: refused to the one
    exchange("18EAFFF0 00 FF 00", {});
}

TEST_F(Ecu_test, asks_again_for_lost_packets_and_gives_up_after_two_times)
{
    run({"--cts-window=2"});
    exchange("1CEC80F0 10 14 00 02 FF 00 D7 00", {"1CECF080 FF FA FF FF FF 00 D7 00"}); // 20 bytes are 3 packets
    exchange("1CEC80F0 10 14 00 03 FF 00 D7 00", {"1CECF080 11 02 01 FF FF 00 D7 00"});
    exchange("1CEB80F0 02 00 00 00 00 00 00 00", {"1CECF080 11 02 01 FF FF 00 D7 00"});
    exchange("1CEB80F0 01 00 00 00 00 00 00 00", {});
    exchange("1CEB80F0 02 00 00 00 00 00 00 00", {"1CECF080 11 01 03 FF FF 00 D7 00"});
    says_after(1250ms, "1CECF080 11 01 03 FF FF 00 D7 00"); // T2
    says_after(1250ms, "1CECF080 11 01 03 FF FF 00 D7 00");
    says_after(1250ms, "1CECF080 FF 03 FF FF FF 00 D7 00");
}

TEST_F(Ecu_test, takes_an_update_and_restarts_with_the_new_version)
{
    run({"--heartbeat-ms=10000"});
    exchange("18D980F0 01 01 00 10 00 00 00 00", {failed}); // the application erases nothing
    exchange("18D980F0 01 0D 00 09 00 00 00 00", {proceed, completed, "18EFF080 20 00 FF FF FF FF FF FF"});
    step("18D980F1 01 0D 00 09 00 00 00 00", {"18D8F180 00 13 FF FF FF FF FF FF"}); // another tool: busy
    exchange("18D980F0 04 15 02 00 00 C0 00 00", {"18D8F080 04 11 FF FF FF FF FF FF"});
    exchange("18D780F0 04 20 A1 07 00 FF FF FF", {"rate 500000"});
    exchange("18D980F0 03 05 00 10 00 00 00 00", {"18D8F080 03 11 FF FF FF FF FF FF"}); // write, 3 bytes
    exchange("18D780F0 03 AA BB CC 00 00 00 00", {failed});                             // not erased
    exchange("18D980F0 01 01 04 10 00 00 00 00", {proceed, failed});                    // no sector starts here
    step("18D980F0 01 01 00 10 00 00 00 00", {proceed, completed});
    exchange("18D980F0 03 05 00 10 00 00 00 00", {"18D8F080 03 11 FF FF FF FF FF FF"});
    step("18D780F0 03 AA BB CC 00 00 00 00", {completed});
    exchange("18D980F0 08 05 06 10 00 00 00 00", {"18D8F080 08 11 FF FF FF FF FF FF"}); // 8 bytes, behind a gap
    exchange("1CEC80F0 10 09 00 02 FF 00 D7 00", {"1CECF080 11 02 01 FF FF 00 D7 00"});
    exchange("1CEB80F0 01 FF 01 02 03 04 05 06", {});
    step("1CEB80F0 02 07 08 00 00 00 00 00", {"1CECF080 13 09 00 02 FF 00 D7 00", completed});
    // FFCCBBAA + 0201FFFF + 06050403 + FFFF0807, modulo 2^32
    const std::string sum = " 04 B3 C7 D2 07 FF FF FF";
    step("18D980F0 04 13 01 00 00 C0 00 00", {"18D8F080 04 11 FF FF FF FF FF FF", "18D7F080" + sum, completed});
    exchange("18D980F0 04 15 01 00 00 C0 00 00", {"18D8F080 04 11 FF FF FF FF FF FF"});
    exchange("18D780F0 04 B4 C7 D2 07 FF FF FF", {failed});
    exchange("18D980F0 04 15 01 00 00 C0 00 00", {"18D8F080 04 11 FF FF FF FF FF FF"});
    step("18D780F0" + sum, {completed});
    EXPECT_EQ(saved_, (std::vector<std::uint8_t>{0xAA, 0xBB, 0xCC, 0xFF, 0xFF, 0xFF, 1, 2, 3, 4, 5, 6, 7, 8}));
    says_after(300ms, "18EEFF80 01 00 E0 FF 00 84 08 A0");
    pass(250ms);
    exchange("18EA80F0 DA FE 00", {"1CECF080 10 23 00 05 FF DA FE 00"}); // 2BLD,PN-1000,1.0*APP,PN-1000,2.0.0*
    exchange("1CEC80F0 11 01 05 FF FF DA FE 00", {"1CEBF080 05 2C 32 2E 30 2E 30 2A"}); // ,2.0.0*
    exchange("1CEC80F0 13 23 00 05 FF DA FE 00", {});
    says_after(2750ms, "rate 250000"); // 3 s after the restart
}

TEST_F(Ecu_test, wants_its_seed_back_as_the_key)
{
    run({"--seed=FF00", "--heartbeat=off", "--busy=1", "--busy-step=enter"});
    exchange("18D980F0 01 0D 00 09 00 00 00 00", {"18D8F080 01 11 FF FF FF FF 00 FF"});
    exchange("18D980F0 01 0D 00 09 00 00 FF 00", {failed});
    exchange("18D980F0 01 0D 00 09 00 00 00 FF", {"18D8F080 01 11 FF FF FF FF 00 FF"}); // the seed comes first
    exchange("18D980F0 01 0D 00 09 00 00 00 FF", {busy});
    exchange("18D980F0 01 0D 00 09 00 00 00 FF", {proceed, completed});
}

TEST_F(Ecu_test, aborts_a_transport_half_way_as_ordered)
{
    run({"--abort-transport=1", "--heartbeat=off"});
    step("18D980F0 01 0D 00 09 00 00 00 00", {proceed, completed});
    step("18D980F0 01 01 00 10 00 00 00 00", {proceed, completed});
    exchange("18D980F0 08 05 00 10 00 00 00 00", {"18D8F080 08 11 FF FF FF FF FF FF"});
    exchange("1CEC80F0 10 09 00 02 FF 00 D7 00", {"1CECF080 11 02 01 FF FF 00 D7 00"});
    exchange("1CEB80F0 01 FF 01 02 03 04 05 06", {"1CECF080 FF 02 FF FF FF 00 D7 00"});
}

} // namespace
} // namespace bench::simulated
