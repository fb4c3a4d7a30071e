#include "service/name_text.h"
#include "service/service_test_kit.h"

namespace qv::can_bus::flr {
namespace {

using testing::HasSubstr;

const std::string enter = "18D980F9 01 0D 00 09 00 00 00 00";
const std::string erase_1000 = "18D980F9 01 01 00 10 00 00 00 00";
const std::string write_8 = "18D980F9 08 05 04 10 00 00 00 00"; ///< 8 bytes to 0x1004
const std::string read = "18D980F9 04 13 01 00 00 C0 00 00";
const std::string reset = "18D980F9 04 15 01 00 00 C0 00 00";
const std::string change = "18D980F9 04 15 02 00 00 C0 00 00";
const std::string close = "18D980F9 00 19 00 00 00 00 00 00";
const std::string checksum_data = "18D7F980 04 78 56 34 12 FF FF FF";
const std::string other_claim = "18EEFF90 01 00 E0 12 00 99 00 A0";

/// What the session has asked the ECU and waits for.
enum class Waits_for { bootloader, erase, write, checksum, restart, return_of_ecu };

class Session_test : public Service_test {
protected:
    /// The ECU, with the image for it.
    Programmable_item entry() const
    {
        auto result = *flintrow_->inventory.visible_ecu_at(0);
        result.matches = matches_;
        return result;
    }
    /// An ECU is seen and an image is there for it.
    void offer(std::uint32_t length)
    {
        receive(ecu_claim);
        tell_software();
        auto image = std::make_shared<HexParser>();
        image->parse(image_file(length), true);
        matches_ = std::make_shared<Matches>(Matches{{std::move(image)}, {}, nullptr});
        sent();
        said();
    }
    /// Runs a session on an ECU without faults up to this point; the request is the last thing in `sent`.
    void reach(Waits_for point, std::vector<std::string> options = {}, std::uint32_t length = 8)
    {
        start(std::move(options));
        offer(length);
        ASSERT_EQ(session().start_update(entry(), "1.2"), 0);
        tick();
        for (int step = 0; step < static_cast<int>(point); ++step) {
            sent();
            switch (static_cast<Waits_for>(step)) {
                case Waits_for::bootloader: proceed(), complete(), heartbeat(), tick(2); break;
                case Waits_for::erase: proceed(), complete(), tick(); break;
                case Waits_for::write: proceed(), take_transport(), complete(), tick(); break;
                case Waits_for::checksum: proceed(), receive(checksum_data), complete(); break;
                case Waits_for::restart: proceed(), complete(), tick(3); break;
                case Waits_for::return_of_ecu: break;
            }
        }
    }
    void expect_failure(std::uint32_t code)
    {
        EXPECT_EQ(session().state, State::BL_FAILURE);
        tick(3);
        EXPECT_THAT(said(), HasSubstr("Programming Failure!\r\n\r\n"));
        EXPECT_EQ(session().error_code, code);
    }
    std::shared_ptr<const Matches> matches_ = std::make_shared<Matches>();
};

TEST_F(Session_test, programs_an_ecu)
{
    reach(Waits_for::checksum, {"-n"});
    EXPECT_EQ(said(), "Programming selection -\r\n" + image_file(8) +
                          "\r\nUnsupported ECU Encryption Version\r\n" +
                          "Enter bootloader... \r\nJumping to bootloader...\r\n"
                          "Bootload heartbeat detected, continuing...\r\n"
                          "Starting erase:\r\n\x1B[2K\rErasing sector @ 0x00001000  :  Erasing Complete!\r\n"
                          "\x1B[2K\rProgramming Image @ 0x00001004 (%100.00)\r\nVerifying Checksum...\r\n");
    EXPECT_EQ(sent(), (Texts{close, read}));
    EXPECT_EQ(session().progress_current * 100 + session().progress_total, 808U);
    proceed(), receive(checksum_data), complete();
    EXPECT_EQ(sent(), (Texts{close, reset}));
    EXPECT_EQ(pauses, std::vector<long>{3000});
    proceed(), complete();
    EXPECT_EQ(sent(), (Texts{"18D780F9 04 78 56 34 12 FF FF FF", close}));
    EXPECT_EQ(said(), "Resetting bootloader\r\n");
    receive(ecu_claim);
    EXPECT_EQ(sent(), Texts{"18EA80F9 DA FE 00"});
    EXPECT_EQ(said(), "\t Comparing [a0008600 12e00001] a0008600 12e00001\r\n"
                      "\tTarget Found! [0x80] a0008600 12e00001\r\n");
    tell_software();
    tick(4);
    EXPECT_EQ(session().state, State::BL_COMPLETE_ACK);
    EXPECT_EQ(said(), "SWiD [1]BLD*\r\nProgramming Complete!\r\n\r\n");
}

/// What lies in the chunks, the whole program's tests compare with the flash of the ECU.
TEST_F(Session_test, asks_for_room_for_each_chunk)
{
    reach(Waits_for::write, {"-q"}, 2000);
    for (const char* chunk : {"00 65 04 10", "00 65 04 13", "D0 25 04 16"}) {
        EXPECT_EQ(sent().back(), "18D980F9 " + std::string(chunk) + " 00 00 00 00");
        proceed(), take_transport(), complete();
    }
    EXPECT_EQ(sent().back(), close);
    EXPECT_EQ(session().state, State::BL_READ_CHECKSUM);
    EXPECT_THAT(said(), testing::Not(HasSubstr("\x1B[2K")));
}

TEST_F(Session_test, leaves_no_hole_and_writes_no_chunk_twice_when_answers_are_repeated)
{
    const std::string second = "18D980F9 00 65 04 13 00 00 00 00";
    reach(Waits_for::write, {"-q"}, 2000);
    proceed(), proceed();
    EXPECT_EQ(take_transport().size(), 769U);
    complete();
    EXPECT_EQ(sent().back(), second);
    complete(); // of the first chunk, once more
    EXPECT_EQ(sent(), Texts{});
    proceed(), pass(4), sent(), complete(); // and while the second is on its way
    EXPECT_EQ(sent(), Texts{});
    const std::string stranger_completes = "18D8F990 00 09 00 00 00 00 FF FF";
    receive(other_claim), sent();
    proceed(), receive("18D8F990 00 01 00 00 00 00 FF FF"), receive(stranger_completes);
    EXPECT_EQ(sent(), Texts{});
    receive("18ECF980 FF 01 FF FF FF 00 D7 00"); // it begins anew
    take_transport(), receive(stranger_completes);
    EXPECT_EQ(sent(), Texts{});
    busy(), tick(3); // with what it got
    EXPECT_EQ(sent().back(), second);
    proceed(), pass(4), sent();
    complete(); // of what it got, not of the repetition
    EXPECT_EQ(sent().back(), "18D980F9 D0 25 04 16 00 00 00 00");
}

TEST_F(Session_test, a_chunk_whose_transport_ends_badly_is_sent_again_on_demand_and_else_never)
{
    reach(Waits_for::write, {"-q"}, 2000);
    proceed(), pass(4);
    for (int attempt = 0; attempt < 5; ++attempt) {
        receive("18ECF980 FF 01 FF FF FF 00 D7 00"), pass(4);
    }
    sent(), complete();
    EXPECT_EQ(sent(), Texts{}) << "it cannot have been written";
    proceed();
    EXPECT_EQ(take_transport(false).size(), 769U);
    complete();
    EXPECT_EQ(sent().back(), "18D980F9 00 65 04 13 00 00 00 00");
    pass(3000);
    EXPECT_EQ(sent(), Texts{}) << "the ECU has the chunk, only the end of its transport was lost";
    proceed();
    EXPECT_EQ(take_transport()[1], '\x04') << "0x1304";
    complete(), proceed(), pass(4), tick(40), sent();
    receive("18ECF980 11 70 01 FF FF 00 D7 00"), pass(4);
    EXPECT_EQ(sent(), Texts{}) << "no data behind a failure";
}

TEST_F(Session_test, restarts_the_ecu_also_when_the_answer_to_the_question_before_comes_twice)
{
    reach(Waits_for::checksum);
    sent();
    proceed(), receive(checksum_data), proceed();
    EXPECT_EQ(session().state, State::BL_RESTART);
    complete();
    EXPECT_EQ(sent(), (Texts{close, reset}));
    proceed("FF 00"), proceed();
    EXPECT_EQ(session().state, State::BL_RESTART_PENDING);
}

TEST_F(Session_test, sends_a_chunk_of_one_frame_once_for_each_request)
{
    reach(Waits_for::write, {}, 4);
    sent();
    proceed(), proceed();
    EXPECT_EQ(sent().size(), 1U);
    busy(), tick(3), sent();
    proceed();
    EXPECT_EQ(sent().size(), 1U);
}

TEST_F(Session_test, sends_nobody_else_a_chunk_that_the_target_has)
{
    reach(Waits_for::write, {"-q"}, 2000);
    proceed(), take_transport(), receive(other_claim), sent();
    receive("18D8F990 00 01 00 00 00 00 FF FF"), pass(4); // Proceed
    EXPECT_EQ(sent(), Texts{});
    complete();
    EXPECT_THAT(sent(), testing::Contains(close));
}

TEST_F(Session_test, takes_the_checksum_for_its_proceed)
{
    reach(Waits_for::checksum);
    sent();
    receive(checksum_data), complete();
    EXPECT_EQ(sent(), (Texts{close, reset}));
}

TEST_F(Session_test, a_refusal_stands_whatever_follows)
{
    reach(Waits_for::checksum);
    sent();
    receive("18D8F980 00 0B 00 00 00 00 FF FF"), proceed(), busy(), complete(), receive("18D7F980 05");
    EXPECT_EQ(sent(), Texts{});
    tick();
    EXPECT_EQ(exits_, std::vector<int>{0});
}

TEST_F(Session_test, no_heartbeat_takes_a_refusal_back)
{
    reach(Waits_for::bootloader, {"-b500000"});
    proceed(), complete(), heartbeat(), tick(3), proceed(), tick(2);
    ASSERT_EQ(session().state, State::BL_BAUD_SETTLE);
    receive("18D8F980 00 0B 00 00 00 00 FF FF"), heartbeat(), tick(4);
    EXPECT_EQ(exits_, std::vector<int>{0});
}

TEST_F(Session_test, asks_ten_times_for_what_an_ecu_completes_and_never_sends)
{
    reach(Waits_for::checksum);
    for (int attempt = 1; attempt <= 10; ++attempt) {
        EXPECT_EQ(sent().back(), read);
        proceed(), complete();
    }
    expect_failure(failure::other);
    EXPECT_EQ(sent(), Texts{close});
}

TEST_F(Session_test, asks_ten_times_for_a_restart_that_an_ecu_completes_and_never_begins)
{
    reach(Waits_for::restart);
    for (int attempt = 1; attempt <= 10; ++attempt) {
        EXPECT_EQ(sent().back(), reset);
        complete(), tick(4); // in doubt, and asked once more
        EXPECT_EQ(sent().back(), reset);
        complete();
    }
    expect_failure(failure::other);
}

TEST_F(Session_test, takes_a_target_that_restarted_without_another_word)
{
    reach(Waits_for::restart);
    proceed(), receive(other_claim), tell_software("90"), tick(8), sent();
    EXPECT_EQ(session().state, State::BL_COMPLETE) << "which waits, as that was somebody else's identification";
    receive(ecu_claim);
    EXPECT_EQ(sent(), Texts{"18EA80F9 DA FE 00"});
    tell_software(), tick(4);
    EXPECT_EQ(session().state, State::BL_COMPLETE_ACK);
}

TEST_F(Session_test, takes_it_also_under_another_name)
{
    reach(Waits_for::restart);
    proceed(), receive(other_claim), tell_software("90");
    receive("18EEFFFE" + ecu_claim.substr(8)), sent();
    receive("18EEFF80 02 00 E0 12 00 86 00 A0");
    EXPECT_EQ(sent(), Texts{"18EA80F9 DA FE 00"});
    tell_software(), tick(4);
    EXPECT_EQ(session().state, State::BL_COMPLETE_ACK);
}

TEST_F(Session_test, waits_for_a_node_however_many_it_has_updated)
{
    start();
    session().update_kind = Session::wireless_package;
    for (int node = 1; node <= 20; ++node) {
        session().state = State::BL_RESTART;
        tick();
        EXPECT_EQ(session().state, State::BL_RESTART_PENDING);
    }
}

TEST_F(Session_test, answers_to_what_is_over_open_nothing)
{
    reach(Waits_for::return_of_ecu);
    sent(), said();
    proceed(), proceed("FF 00"), busy(), tick();
    EXPECT_EQ(sent(), Texts{});
    receive(ecu_claim), tell_software(), tick(4);
    EXPECT_EQ(session().state, State::BL_COMPLETE_ACK);
    for (const auto state : {State::BL_COMPLETE_ACK, State::BL_FAILURE, State::BL_IDLE}) {
        session().state = state;
        sent();
        proceed(), proceed("FF 00"), busy(), tick(40);
        EXPECT_EQ(sent(), Texts{});
        EXPECT_EQ(session().state, state);
    }
}

TEST_F(Session_test, finds_a_target_that_the_update_before_left_in_its_bootloader)
{
    reach(Waits_for::erase);
    receive("18EEFF80 02 00 E0 12 00 86 00 A0"), tick(40);
    EXPECT_EQ(session().state, State::BL_FAILURE);
    EXPECT_EQ(session().acknowledge_result() + session().start_update(entry(), "1.2"), 0);
    sent(), tick();
    EXPECT_EQ(sent(), Texts{enter});
}

/// Who holds the address of an ECU that has gone is not asked for anything, let alone erased.
TEST_F(Session_test, takes_nobody_who_came_to_the_address_of_an_ecu_that_has_gone)
{
    const std::string stranger = "18EEFF80 02 00 E0 12 00 86 00 A0";
    reach(Waits_for::erase);
    tick(40), receive(stranger);
    session().acknowledge_result(), sent();
    EXPECT_EQ(session().start_update(entry(), "1.2"), 0);
    receive(stranger), tick(), receive(stranger), receive("18EEFFFE" + stranger.substr(8)), heartbeat(), tick(40);
    EXPECT_EQ(session().state, State::BL_FAILURE);
    const auto messages = sent();
    EXPECT_EQ(messages.front(), "18D9FEF9" + enter.substr(8));
    EXPECT_THAT(messages, testing::Not(testing::Contains(testing::StartsWith("18D980"))));
    EXPECT_THAT(said(), testing::Not(HasSubstr("Target Found")));
}

TEST_F(Session_test, takes_no_ecu_of_the_update_before_for_one_that_has_gone)
{
    reach(Waits_for::erase);
    receive(other_claim), receive("18EEFFFE" + other_claim.substr(8)), tick(40);
    session().acknowledge_result(), sent();
    auto other = *flintrow_->inventory.find_ecu_by_address(0x90);
    other.matches = matches_;
    EXPECT_EQ(session().start_update(other, "1.2"), 0);
    tick();
    EXPECT_EQ(sent(), Texts{"18D9FEF9" + enter.substr(8)});
}

TEST_F(Session_test, takes_no_other_ecu_for_its_target_while_that_is_without_an_address)
{
    const std::string stranger = "18EEFF80 01 00 00 00 00 00 00 00"; // takes the address
    reach(Waits_for::erase);
    receive(other_claim), receive(stranger), receive(other_claim);
    EXPECT_EQ(session().target_node()->source_address, 0x80U);
    EXPECT_EQ(name_text(session().target_node()->name()), "00000000 00000001");
    receive("18EEFFFE 01 00 00 00 00 00 00 00"), said(), receive(other_claim);
    EXPECT_THAT(said(), testing::Not(HasSubstr("Target Found")));
    receive("18EEFF80 02 00 00 00 00 00 00 00");
    EXPECT_THAT(said(), HasSubstr("Target Found! [0x80]")) << "at the address that it had last";
}

/// An open request, and for how many seconds the session waits for its answer.
struct Wait {
    Waits_for point;
    std::string request;
    int patience;
};

class Wait_test : public Session_test, public testing::WithParamInterface<Wait> {
protected:
    void SetUp() override
    {
        reach(GetParam().point);
        ASSERT_EQ(sent().back(), GetParam().request);
        said();
    }
};

TEST_P(Wait_test, ends_when_the_ecu_is_silent)
{
    tick(GetParam().patience - 1);
    EXPECT_NE(session().state, State::BL_FAILURE);
    tick();
    EXPECT_EQ(said(), "MemoryAccess Timeout: Aborting\r\n");
    expect_failure(failure::other);
    proceed(), complete();
    EXPECT_EQ(sent(), Texts{close}) << "no data behind a failure";
}

TEST_P(Wait_test, repeats_its_request_with_the_key_while_the_ecu_is_busy)
{
    const auto with_key = GetParam().request.substr(0, 26) + " FF 00";
    proceed("FF 00");
    EXPECT_EQ(sent(), Texts{with_key});
    for (int repetition = 0; repetition < 3; ++repetition) {
        busy();
        EXPECT_EQ(said(), "Busy\t\t: \r\n");
        EXPECT_TRUE(sent().empty());
        tick(4);
        EXPECT_EQ(sent(), Texts{with_key});
    }
    tick(26);
    EXPECT_NE(session().state, State::BL_FAILURE);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Points, Wait_test, testing::Values(
    Wait{Waits_for::bootloader, enter,      31},
    Wait{Waits_for::erase,      erase_1000, 31},
    Wait{Waits_for::write,      write_8,    33},
    Wait{Waits_for::checksum,   read,       31},
    Wait{Waits_for::restart,    reset,      34}));
// clang-format on

/// Or a sector would stay without its erase: the answer may be the one to the request before, heard twice.
class Proceed_test : public Wait_test {};

TEST_P(Proceed_test, takes_no_request_for_done_that_the_ecu_did_not_take)
{
    const auto asking = session().state.load();
    busy(), complete(), complete();
    EXPECT_EQ(sent(), Texts{});
    tick(4);
    EXPECT_EQ(sent(), (Texts{close, GetParam().request}));
    EXPECT_EQ(session().state, asking);
}

TEST_P(Proceed_test, comes_late_and_ends_the_doubt)
{
    complete(), proceed(), sent();
    tick(4);
    EXPECT_EQ(sent(), Texts{});
    if (GetParam().point != Waits_for::restart) { // which goes on with its Proceed
        busy(), tick(4), complete();
        EXPECT_THAT(sent(), testing::Not(testing::Contains(close)));
    }
}

TEST_P(Proceed_test, asks_for_a_key_and_ends_the_doubt)
{
    complete(), proceed("FF 00");
    EXPECT_EQ(sent(), Texts{GetParam().request.substr(0, 26) + " FF 00"});
    tick(4);
    EXPECT_EQ(sent(), Texts{});
    busy(), tick(4), complete();
    EXPECT_THAT(sent(), testing::Not(testing::Contains(close)));
}

TEST_P(Proceed_test, is_asked_for_once)
{
    complete(), tick(4), sent();
    complete();
    EXPECT_THAT(sent(), testing::Contains(close));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Points, Proceed_test, testing::Values(
    Wait{Waits_for::erase,    erase_1000, 0},
    Wait{Waits_for::checksum, read,       0},
    Wait{Waits_for::restart,  reset,      0}));
// clang-format on

TEST_F(Session_test, ends_when_the_ecu_does_not_return)
{
    reach(Waits_for::return_of_ecu, {"-e"});
    tick(14);
    EXPECT_EQ(session().state, State::BL_RESTART_PENDING);
    EXPECT_EQ(session().progress_current, session().progress_total);
    tick();
    EXPECT_TRUE(exits_.empty());
    expect_failure(failure::not_returned);
    EXPECT_EQ(exits_.at(0), 0);
    EXPECT_EQ(pauses.at(1), 5000);
}

TEST_F(Session_test, knows_a_target_that_returns_under_another_name_or_at_another_address)
{
    reach(Waits_for::return_of_ecu);
    receive(other_claim);
    EXPECT_THAT(said(), testing::Not(HasSubstr("Target Found")));
    receive("18EEFF80 02 00 E0 12 00 86 00 A0");
    EXPECT_THAT(said(), HasSubstr("Target Found! [0x80] a0008600 12e00002"));
    receive("18EEFF81 02 00 E0 12 00 86 00 A0");
    EXPECT_THAT(said(), HasSubstr("Target Found! [0x81] a0008600 12e00002"));
    EXPECT_EQ(sent().back(), "18EA81F9 DA FE 00");
    tell_software("90");
    EXPECT_EQ(session().state, State::BL_COMPLETE) << "whoever identifies itself";
}

TEST_F(Session_test, ends_with_a_checksum_of_another_length)
{
    reach(Waits_for::checksum);
    receive(other_claim), receive("18D7F990 03"), said();
    EXPECT_EQ(session().state, State::BL_READ_CHECKSUM) << "not from the target";
    for (const auto* answer : {"18D7F980 03 78 56 34 FF", "18D7F980 04 78 56 34", "18D7F980"}) {
        session().state = State::BL_READ_CHECKSUM;
        receive(answer);
        EXPECT_EQ(said(), "Invalid checksum length\r\n");
        EXPECT_EQ(session().state, State::BL_FAILURE);
    }
    receive(checksum_data), complete();
    expect_failure(failure::other);
}

struct Rate {
    std::string option;
    std::string message; ///< from the ECU; empty lets the countdown run out
    State next;
};

class Bootloader_test : public Session_test, public testing::WithParamInterface<Rate> {};

TEST_P(Bootloader_test, is_there_with_its_heartbeat_or_after_ten_runs)
{
    reach(Waits_for::bootloader, {GetParam().option});
    proceed(), complete();
    if (!GetParam().message.empty()) {
        receive(GetParam().message);
    } else {
        tick(9);
        EXPECT_EQ(session().state, State::BL_BOOTLOADER_PENDING);
        tick();
    }
    EXPECT_EQ(session().state, GetParam().next);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rates, Bootloader_test, testing::Values(
    Rate{"-n", "18EFF980 10", State::BL_BOOTLOADER}, Rate{"-n", "18EFF980 0F FF", State::BL_BOOTLOADER_PENDING},
    Rate{"-n", "", State::BL_BOOTLOADER},            Rate{"-n", "18EFF980", State::BL_BOOTLOADER_PENDING},
    Rate{"-b500000", "", State::BL_BAUD_REQUEST},    Rate{"-b500000", "18EFF980 FF", State::BL_BAUD_REQUEST},
    Rate{"-b250000", "18EFF980 FF", State::BL_BOOTLOADER}));
// clang-format on

TEST_F(Session_test, programs_at_another_bit_rate)
{
    reach(Waits_for::bootloader, {"-b500000"});
    proceed(), complete(), heartbeat(), said(), sent();
    tick(2);
    EXPECT_TRUE(sent().empty());
    tick(), complete(), proceed(); // the answer to the request before comes twice
    EXPECT_EQ(sent(), (Texts{change, close, "18D780F9 04 20 A1 07 00 FF FF FF"}));
    tick();
    EXPECT_EQ(rate_, 250000U);
    tick(5);
    EXPECT_EQ(rate_, 500000U);
    EXPECT_EQ(said(), "Setting baud to 500000\n\r\n\r\nRequesting Baud change..\r\n\r\nChange local baud\r\n"
                      "Waiting for bus to settle...\r\n");
    heartbeat();
    EXPECT_EQ(session().state, State::BL_BOOTLOADER);
    session().state = State::BL_COMPLETE;
    tick();
    EXPECT_EQ(rate_, 250000U);
}

TEST_F(Session_test, ends_when_the_ecu_is_done_with_another_bit_rate_before_it_was_told)
{
    reach(Waits_for::bootloader, {"-b500000"});
    proceed(), complete(), heartbeat(), tick(3);
    ASSERT_EQ(sent().back(), change);
    complete(), tick(9);
    EXPECT_EQ(session().state, State::BL_BAUD_PENDING) << "that could be an answer to the request before";
    tick();
    expect_failure(failure::other);
}

TEST_F(Session_test, an_image_without_data_goes_through_and_none_at_all_fails)
{
    reach(Waits_for::bootloader, {}, 0);
    proceed(), complete(), heartbeat();
    tick(3);
    EXPECT_EQ(session().state, State::BL_READ_CHECKSUM);
    EXPECT_EQ(session().progress_total, 0U);
    session().hex_parser.reset();
    session().state = State::BL_BOOTLOADER;
    tick();
    expect_failure(failure::no_image);

    session().update_kind = Session::wireless_package; // and no package
    for (const auto state : {State::BL_BOOTLOADER, State::BL_PROGRAMMING}) {
        session().state = state;
        tick(2);
        expect_failure(failure::no_worker);
    }
}

TEST_F(Session_test, answers_that_are_cut_short_mean_nothing)
{
    reach(Waits_for::erase);
    sent(), said();
    receive_each(
        {"18D8F980", "18D8F980 00 0B 00 00 00 00 FF", "18EEFF80 01 02", "18D8F980 00 0D 00 00 00 00 FF FF"});
    EXPECT_EQ(said(), "Received MA status bootload??\r\n");
    EXPECT_TRUE(sent().empty());
}

} // namespace
} // namespace qv::can_bus::flr
