#include "can/network/tp/manager.h"

#include "can/network/tp/rx_message.h"
#include "can/network/tp/transport_fixture.h"

namespace qv::can_bus::tp {
namespace {

const std::string abort = "= EC00>80 FF 02 FF FF FF CA FE 00;";
const std::string extended_abort = "= C800>80 FF 02 FF FF FF CA FE 00;";
const std::string refusal = "= EC00>80 FF 07 FF FF FF CA FE 00;";
const std::string extended_refusal = "= C800>80 FF 07 FF FF FF CA FE 00;";
const std::string from_15 = "a EC00 10 0F 00 03 FF CA FE 00; +1; = EC00>80 11 03 01 FF FF CA FE 00;";
const std::string to_15 = "= EC00>80 13 0F 00 03 FF CA FE 00; heard FECA 80>FE global #15;";
/// 10 packets in windows of 4.
const std::string from_70 = "a EC00 10 46 00 0A 04 CA FE 00; +1; = EC00>80 11 04 01 FF FF CA FE 00;";
const std::string offset_0 = "a C800 16 10 00 00 00 CA FE 00;";
/// 258 packets in windows of 16.
const std::string from_1800 = "a C800 14 08 07 00 00 CA FE 00; = C800>80 15 10 01 00 00 CA FE 00;";

TEST_P(Script_test, runs_as_written) { run(GetParam().steps); }

// clang-format off
INSTANTIATE_TEST_SUITE_P(Receive, Script_test, testing::Values(
    Script{"delivers_to_the_ecu_before_the_last_frame_returns", // begins with the tick
        "a EC00 10 0F 00 03 FF 00 EF 00; +1; = EC00>80 11 03 01 FF FF 00 EF 00; a EB00 #1-2;"
        "a EB00 03 0F FF FF FF FF FF FF; = EC00>80 13 0F 00 03 FF 00 EF 00; heard EF00 80>21 #15;"
        "a EB00 #3-3; +5000"},
    Script{"takes_packets_in_any_order_and_nothing_of_a_second_announcement",
        from_15 + "a EC00 10 46 00 0A 01 DA FE 00; a EB00 #3-3; a EB00 #1-2;" + to_15},
    Script{"opens_window_after_window_of_a_small_message_at_once", from_70 +
        "a EB00 #1-4; = EC00>80 11 04 05 FF FF CA FE 00; a EB00 #5-8; = EC00>80 11 02 09 FF FF CA FE 00;"
        "a EB00 #9-10; = EC00>80 13 46 00 0A FF CA FE 00; heard FECA 80>FE global #70"},
    Script{"ends_with_a_packet_that_its_window_does_not_have_or_has_twice",
        from_70 + "a EB00 #1-2; a EB00 00 1 2 3 4 5 6 7;" + abort + from_70 + "a EB00 #1-2; a EB00 #5-5;" + abort +
        "a EB00 #3-4;" + from_70 + "a EB00 FF 1 2 3 4 5 6 7;" + abort + from_15 + "a EB00 #1-2; a EB00 #2-2;" + abort},
    Script{"ignores_short_and_empty_frames_strangers_and_frames_to_all", from_15 +
        "a EB00 #1-2; a EB00 03 1 2 3 4 5 6; a EB00; ? EB00 #1-1; b EB00 #1-1; a all EB00 #1-1; a EB00 #3-3;" + to_15},
    Script{"asks_for_a_window_again_after_755_ms", from_70 +
        "a EB00 #1-3; +754; +1; = EC00>80 11 04 01 FF FF CA FE 00; a EB00 #1-4; = EC00>80 11 04 05 FF FF CA FE 00"},
    Script{"ends_with_the_peers_abort_of_its_group", from_15 +
        "a EC00 FF 01 FF FF FF DA FE 00; b EC00 FF 01 FF FF FF CA FE 00; a C800 FF 01 FF FF FF CA FE 00; a EB00 #1-2;"
        "a EC00 FF 01 FF FF FF CA FE 00; a EB00 #3-3"},
    Script{"accepts_9_to_1785_bytes",
        "a EC00 10 09 00 02 FF CA FE 00; +1; = EC00>80 11 02 01 FF FF CA FE 00;"
        "b EC00 10 F9 06 FF FF CA FE 00; = EC00>81 11 10 01 FF FF CA FE 00"},
    Script{"refuses_0_8_and_1786_bytes_a_wrong_packet_count_and_19_bits_of_group",
        "a EC00 10 00 00 00 FF CA FE 00;" + refusal + "a EC00 10 08 00 02 FF CA FE 00;" + refusal +
        "a EC00 10 FA 06 00 FF CA FE 00;" + refusal + "a EC00 10 0F 00 04 FF CA FE 00;" + refusal +
        "a EC00 10 0F 00 03 FF 02 00 04; = EC00>80 FF 07 FF FF FF 02 00 04"},
    Script{"takes_1786_to_117440512_bytes_and_no_others_by_the_extended_protocol",
        "a C800 14 F9 06 00 00 CA FE 00;" + extended_refusal + "a C800 14 01 00 00 07 CA FE 00;" + extended_refusal +
        "a C800 14 FF FF FF FF CA FE 00;" + extended_refusal +
        "a C800 14 FA 06 00 00 CA FE 00; = C800>80 15 10 01 00 00 CA FE 00;"
        "b C800 14 00 00 00 07 CA FE 00; +1; = C800>81 15 00 01 00 00 CA FE 00"},
    Script{"gives_large_messages_turns_window_by_window",
        "a EC00 10 BC 02 64 FF CA FE 00; = EC00>80 11 10 01 FF FF CA FE 00;" // nobody else has the turn
        "b EC00 10 BC 02 64 FF CA FE 00; +1; = EC00>81 11 00 01 FF FF CA FE 00; +249; +1;"
        "= EC00>81 11 00 01 FF FF CA FE 00; +249; a EB00 #1-16;"
        "= EC00>80 11 00 11 FF FF CA FE 00; = EC00>81 11 10 01 FF FF CA FE 00; b EB00 #1-16;"
        "= EC00>81 11 00 11 FF FF CA FE 00; = EC00>80 11 10 11 FF FF CA FE 00;"
        "a EC00 FF 01 FF FF FF CA FE 00; = EC00>81 11 10 11 FF FF CA FE 00;" // the one with the turn goes
        "b EB00 #17-32; = EC00>81 11 10 21 FF FF CA FE 00"},                  // alone it keeps the turn
    Script{"leaves_the_turn_where_it_is_when_one_on_hold_goes",
        "a EC00 10 BC 02 64 FF CA FE 00; = EC00>80 11 10 01 FF FF CA FE 00; b EC00 10 BC 02 64 FF CA FE 00;"
        "flood 1 EC00 10 BC 02 64 FF CA FE 00; b EC00 FF 01 FF FF FF CA FE 00; +1;"
        "= EC00>90 11 00 01 FF FF CA FE 00; a EB00 #1-16; = EC00>80 11 00 11 FF FF CA FE 00;"
        "= EC00>90 11 10 01 FF FF CA FE 00"},
    Script{"lets_16_packets_run_freely_beside_17",
        "a EC00 10 77 00 11 FF CA FE 00; = EC00>80 11 10 01 FF FF CA FE 00; b EC00 10 70 00 10 FF CA FE 00; +1;"
        "= EC00>81 11 10 01 FF FF CA FE 00; b EB00 #1-16; = EC00>81 13 70 00 10 FF CA FE 00;"
        "heard FECA 81>FE global #112; a EB00 #1-16; = EC00>80 11 01 11 FF FF CA FE 00"},
    Script{"lets_an_extended_sender_go_back_but_not_forward", from_1800 +
        offset_0 + "a C700 #1-16; = C800>80 15 10 11 00 00 CA FE 00;"
        "a C800 16 04 08 00 00 CA FE 00; a C700 #9-12@8; = C800>80 15 10 0D 00 00 CA FE 00;"
        "a C800 16 10 0D 00 00 CA FE 00;" + extended_abort},
    Script{"ends_with_extended_data_before_its_offset_a_second_offset_and_data_outside_the_window", // cut to 242 packets
        from_1800 + "a C700 #1-1;" + extended_abort +
        from_1800 + offset_0 + offset_0 + extended_abort + "a C700 #1-1;" +
        from_1800 + "a C800 16 00 00 00 00 CA FE 00; a C700 #1-1;" + extended_abort +
        from_1800 + offset_0 + "a C700 #1-16; = C800>80 15 10 11 00 00 CA FE 00;"
        "a C800 16 FF 10 00 00 CA FE 00; a C700 #259-259@16;" + extended_abort},
    Script{"asks_five_times_for_a_window_even_of_no_packets_and_gives_up",
        "a EC00 10 46 00 0A 00 CA FE 00; +1;" + repeat(5, "= EC00>80 11 00 01 FF FF CA FE 00; +1254; +1;") +
        "= EC00>80 FF 03 FF FF FF CA FE 00; +5000"},
    Script{"has_all_five_tries_again_after_a_whole_window", from_70 +
        repeat(4, "+1255; = EC00>80 11 04 01 FF FF CA FE 00;") + "a EB00 #1-4;" +
        repeat(5, "= EC00>80 11 04 05 FF FF CA FE 00; +1255;") + "= EC00>80 FF 03 FF FF FF CA FE 00"},
    Script{"bounds_the_bytes_announced_and_never_sent",
        "flood 1 C800 14 00 00 00 07 CA FE 00; = C800>90 15 10 01 00 00 CA FE 00;"
        "flood 1 C800 14 00 00 00 07 CA FE 00;"
        "a C800 14 FA 06 00 00 CA FE 00;" + extended_refusal},
    Script{"bounds_the_messages_announced_and_never_sent",
        "flood 508 EC00 10 09 00 02 FF CA FE 00; a EC00 10 09 00 02 FF CA FE 00;" + refusal},
    Script{"asks_again_for_a_lost_offset", from_1800 + "+1254; +1; = C800>80 15 10 01 00 00 CA FE 00"}),
    script_name);
// clang-format on

class Receive_test : public Transport_test {};

TEST_F(Receive_test, tells_how_far_a_long_message_has_come)
{
    limits_.rx_dt_message_count_cts_maximum = 129;
    run("a C800 14 0E 07 00 00 CA FE 00; = C800>80 15 81 01 00 00 CA FE 00;" // 1806 bytes
        "a C800 16 81 00 00 00 CA FE 00; a C700 #1-129; = C800>80 15 81 82 00 00 CA FE 00;"
        "a C800 16 81 81 00 00 CA FE 00; a C700 #130-258@129; = C800>80 17 0E 07 00 00 CA FE 00;"
        "heard FECA 80>FE global #1806");
    std::vector<std::uint32_t> bytes_done;
    while (const auto update = dispatchers_[0]->take(rx::message::Transfer_update::id)) {
        bytes_done.push_back(dynamic_cast<const rx::message::Transfer_update&>(*update).bytes_done);
    }
    EXPECT_EQ(bytes_done, (std::vector<std::uint32_t>{497, 994, 1491, 1806}));
    EXPECT_TRUE(dispatchers_[0]->take(rx::message::TP_received::id));
}

TEST_F(Receive_test, who_hears_a_message_may_send_end_another_or_end_them_all)
{
    const std::string both = "a EC00 10 09 00 02 FF CA FE 00; b EC00 10 09 00 02 FF CA FE 00; +1;"
                             "= EC00>80 11 02 01 FF FF CA FE 00; = EC00>81 11 02 01 FF FF CA FE 00; b EB00 #1-1;";
    const std::string a_ends = "a EB00 #1-2; = EC00>80 13 09 00 02 FF CA FE 00; heard FECA 80>FE global #9;";
    reaction_ = [this] {
        send(9, b_);
        send_frame(b_, "EB00 #2-2");
    };
    run(both + a_ends +
        "= EC00>81 13 09 00 02 FF CA FE 00; heard FECA 81>FE global #9; +1; = EC00>81 10 09 00 02 FF CA FE 00;");
    reaction_ = [this] { manager_->unsubscribe(); };
    run("a EC00 10 09 00 02 FF CA FE 00; +1; = EC00>80 11 02 01 FF FF CA FE 00; b EC00 10 09 00 02 FF CA FE 00;" +
        a_ends + "+5000");
}

TEST_F(Receive_test, serves_each_member_of_a_working_set_at_its_own_address)
{
    const auto master = peer(0x70);
    a_->pdu_source = b_->pdu_source = master;
    run(from_15 + "b EB00 #1-1; a EB00 #1-3;" + to_15 +
        "a all EC00 20 09 00 02 FF CA FE 00; b all EC00 20 09 00 02 FF CA FE 00; a all EB00 #1-2;"
        "heard FECA 80>FE global #9; b all EB00 #1-2; heard FECA 81>FE global #9;"
        "send 9 b; +1; = EC00>81 10 09 00 02 FF CA FE 00; a EC00 11 02 01 FF FF CA FE 00; +1;"
        "b EC00 11 02 01 FF FF CA FE 00; = EB00>81 01 01 02 03 04 05 06 07;"
        "= EB00>81 02 08 09 FF FF FF FF FF;");
}

const std::string announced = "a all EC00 20 09 00 02 FF CA FE 00;";
const std::string packets = "a all EB00 #1-2;";
const std::string heard = "heard FECA 80>FE global #9;";

// clang-format off
INSTANTIATE_TEST_SUITE_P(Broadcast, Script_test, testing::Values(
    Script{"is_delivered_with_its_last_packet", announced + packets + heard},
    Script{"of_a_group_with_destination_goes_to_all",
        "b all EC00 20 09 00 02 FF 00 EF 00; b all EB00 #1-2; heard EF00 81>FF global #9"},
    // 8 and 1786 bytes, a wrong packet count, short, a group of 19 bits, an RTS, from a stranger, to one node
    Script{"announced_wrong_is_ignored",
        "a all EC00 20 08 00 02 FF CA FE 00; a all EC00 20 FA 06 00 FF CA FE 00; a all EC00 20 09 00 03 FF CA FE 00;"
        "a all EC00 20 09 00 02 FF CA FE; a all EC00 20; a all EC00 20 09 00 02 FF 02 00 04;"
        "a all EC00 10 09 00 02 FF CA FE 00; ? all EC00 20 09 00 02 FF CA FE 00; a EC00 20 09 00 02 FF CA FE 00;"
        "? all EB00 #1-2;" + packets},
    Script{"takes_nothing_from_strangers_others_and_frames_to_one_node_nor_what_it_does_not_have", announced +
        "a all EB00 00 1 2 3 4 5 6 7; a all EB00 03 1 2 3 4 5 6 7; ? all EB00 #1-1; b all EB00 #1-1; a EB00 #1-1;" +
        packets + heard},
    Script{"disappears_755_ms_after_its_last_packet",
        announced + "+754; a all EB00 #1-1; +754; a all EB00 #2-2;" + heard +
        announced + "a all EB00 #1-1; +755; a all EB00 #2-2"},
    Script{"with_a_packet_twice_never_ends_well", announced + "a all EB00 #1-1; a all EB00 #1-1; a all EB00 #2-2"},
    Script{"is_bounded_for_each_sender", repeat(20, announced) + repeat(8, packets + heard) + packets},
    Script{"is_bounded_in_all",
        "flood 508 all EC00 20 09 00 02 FF CA FE 00;" + announced + packets + "+755;" + announced + packets + heard},
    Script{"waits_behind_the_senders_earlier_one",
        "a all EC00 20 10 00 03 FF DA FE 00;" + announced + packets +
        "a all EB00 #3-3; heard FEDA 80>FE global #16;" + packets + heard}),
    script_name);
// clang-format on

// A message of 14 bytes with the sequence number 1.
const std::string first = "a 1F805 20 0E 01 02 03 04 05 06;";
const std::string second = "a 1F805 21 07 08 09 0A 0B 0C 0D;";
const std::string third = "a 1F805 22 0E FF FF FF FF FF FF;";
const std::string whole = "heard 1F805 80>FE global #14;";

// clang-format off
INSTANTIATE_TEST_SUITE_P(Fast_packet, Script_test, testing::Values(
    Script{"of_6_bytes_or_none_is_one_frame",
        "a 1F805 E0 06 01 02 03 04 05 06; +1; heard 1F805 80>FE global #6;"
        "a 1F805 00 00 01 02 03 04 05 06; +1; heard 1F805 80>FE global ;"},
    Script{"ignores_frames_repeated_and_ahead_of_their_turn",
        first + first + third + second + second + third + third + "+1;" + whole},
    Script{"ignores_frames_of_other_sequences_lengths_and_senders",
        first + "a 1F805 41 1 2 3 4 5 6 7; a 1F805 21 1 2 3; b 1F805 21 1 2 3 4 5 6 7; ? 1F805 21 1 2 3 4 5 6 7;" +
        second + third + "+1;" + whole},
    Script{"leaves_once_with_the_tick_after_its_last_frame_and_lives_151_ms_from_frame_to_frame",
        first + "+151;" + second + "+151;" + third + "+1;" + whole + "+1"},
    Script{"is_bounded_in_number",
        "flood 512 1F805 20 0E 1 2 3 4 5 6;" + first + second + third + "+152;" +
        first + second + third + "+1;" + whole},
    Script{"dies_152_ms_after_its_last_frame", first + second + "+152;" + third + "+1;" +
        first + second + third + "+152; +1"}),
    script_name);
// clang-format on

} // namespace
} // namespace qv::can_bus::tp
