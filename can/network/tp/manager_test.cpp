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
/// 258 packets in windows of 16.
const std::string from_1800 = "a C800 14 08 07 00 00 CA FE 00; = C800>80 15 10 01 00 00 CA FE 00;";

// clang-format off
INSTANTIATE_TEST_SUITE_P(Receive, Script_test, testing::Values(
    Script{"delivers_to_the_ecu_before_the_last_frame_returns", // begins with the tick
        "a EC00 10 0F 00 03 FF 00 EF 00; +1; = EC00>80 11 03 01 FF FF 00 EF 00; a EB00 #1-2;"
        "a EB00 03 0F FF FF FF FF FF FF; = EC00>80 13 0F 00 03 FF 00 EF 00; heard EF00 80>21 #15;"
        "a EB00 #3-3; +5000"},
    Script{"takes_the_packets_of_a_window_in_any_order", from_15 + "a EB00 #3-3; a EB00 #1-2;" + to_15},
    Script{"opens_window_after_window_of_a_small_message_at_once", from_70 +
        "a EB00 #1-4; = EC00>80 11 04 05 FF FF CA FE 00; a EB00 #5-8; = EC00>80 11 02 09 FF FF CA FE 00;"
        "a EB00 #9-10; = EC00>80 13 46 00 0A FF CA FE 00; heard FECA 80>FE global #70"},
    Script{"asks_for_16_packets_at_most", "a EC00 10 70 00 10 FF CA FE 00; +1; = EC00>80 11 10 01 FF FF CA FE 00"},
    Script{"ends_with_sequence_number_zero",            from_70 + "a EB00 #1-2; a EB00 00 1 2 3 4 5 6 7;" + abort},
    Script{"ends_with_a_packet_behind_the_window",      from_70 + "a EB00 #1-2; a EB00 #5-5;" + abort + "a EB00 #3-4"},
    Script{"ends_with_a_packet_behind_the_message",     from_70 + "a EB00 FF 1 2 3 4 5 6 7;" + abort},
    Script{"ends_with_a_packet_twice_in_a_window",      from_15 + "a EB00 #1-2; a EB00 #2-2;" + abort},
    Script{"ignores_short_and_empty_frames_strangers_and_frames_to_all", from_15 +
        "a EB00 #1-2; a EB00 03 1 2 3 4 5 6; a EB00; ? EB00 #1-1; b EB00 #1-1; a all EB00 #1-1; a EB00 #3-3;" + to_15},
    Script{"asks_for_a_window_again_after_755_ms", from_70 +
        "a EB00 #1-3; +754; +1; = EC00>80 11 04 01 FF FF CA FE 00; a EB00 #1-4; = EC00>80 11 04 05 FF FF CA FE 00"},
    Script{"is_not_changed_by_a_second_announcement",   from_15 + "a EC00 10 46 00 0A 01 DA FE 00; a EB00 #1-3;" + to_15},
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
    Script{"accepts_1786_to_117440512_bytes_by_the_extended_protocol",
        "a C800 14 FA 06 00 00 CA FE 00; = C800>80 15 10 01 00 00 CA FE 00;"
        "b C800 14 00 00 00 07 CA FE 00; +1; = C800>81 15 00 01 00 00 CA FE 00"},
    Script{"refuses_other_sizes_by_the_extended_protocol",
        "a C800 14 F9 06 00 00 CA FE 00;" + extended_refusal + "a C800 14 01 00 00 07 CA FE 00;" + extended_refusal +
        "a C800 14 FF FF FF FF CA FE 00;" + extended_refusal},
    Script{"gives_large_messages_turns_window_by_window",
        "a EC00 10 BC 02 64 FF CA FE 00; = EC00>80 11 10 01 FF FF CA FE 00;" // nobody else has the turn
        "b EC00 10 BC 02 64 FF CA FE 00; +1; = EC00>81 11 00 01 FF FF CA FE 00; +249; +1;"
        "= EC00>81 11 00 01 FF FF CA FE 00; +249; a EB00 #1-16;"
        "= EC00>80 11 00 11 FF FF CA FE 00; = EC00>81 11 10 01 FF FF CA FE 00; b EB00 #1-16;"
        "= EC00>81 11 00 11 FF FF CA FE 00; = EC00>80 11 10 11 FF FF CA FE 00;"
        "a EC00 FF 01 FF FF FF CA FE 00; = EC00>81 11 10 11 FF FF CA FE 00;" // the one with the turn goes
        "b EB00 #17-32; = EC00>81 11 10 21 FF FF CA FE 00"},                  // alone it keeps the turn
    Script{"lets_16_packets_run_freely_beside_17",
        "a EC00 10 77 00 11 FF CA FE 00; = EC00>80 11 10 01 FF FF CA FE 00; b EC00 10 70 00 10 FF CA FE 00; +1;"
        "= EC00>81 11 10 01 FF FF CA FE 00; b EB00 #1-16; = EC00>81 13 70 00 10 FF CA FE 00;"
        "heard FECA 81>FE global #112; a EB00 #1-16; = EC00>80 11 01 11 FF FF CA FE 00"},
    Script{"lets_an_extended_sender_go_back_but_not_forward", from_1800 +
        "a C800 16 10 00 00 00 CA FE 00; a C700 #1-16; = C800>80 15 10 11 00 00 CA FE 00;"
        "a C800 16 04 08 00 00 CA FE 00; a C700 #9-12@8; = C800>80 15 10 0D 00 00 CA FE 00;"
        "a C800 16 10 0D 00 00 CA FE 00;" + extended_abort},
    Script{"ends_with_extended_data_before_its_offset", from_1800 + "a C700 #1-1;" + extended_abort},
    Script{"ends_with_a_second_offset", from_1800 +
        "a C800 16 10 00 00 00 CA FE 00; a C800 16 10 00 00 00 CA FE 00;" + extended_abort + "a C700 #1-1"},
    Script{"ends_with_data_in_an_empty_window", from_1800 +
        "a C800 16 00 00 00 00 CA FE 00; a C700 #1-1;" + extended_abort},
    Script{"asks_five_times_for_a_window_even_of_no_packets_and_gives_up",
        "a EC00 10 46 00 0A 00 CA FE 00; +1;" + repeat(5, "= EC00>80 11 00 01 FF FF CA FE 00; +1254; +1;") +
        "= EC00>80 FF 03 FF FF FF CA FE 00; +5000"},
    Script{"has_all_five_tries_again_after_a_whole_window", from_70 +
        repeat(4, "+1255; = EC00>80 11 04 01 FF FF CA FE 00;") + "a EB00 #1-4;" +
        repeat(5, "= EC00>80 11 04 05 FF FF CA FE 00; +1255;") + "= EC00>80 FF 03 FF FF FF CA FE 00"},
    Script{"cuts_the_window_of_an_extended_sender_to_the_rest", from_1800 +
        "a C800 16 10 00 00 00 CA FE 00; a C700 #1-16; = C800>80 15 10 11 00 00 CA FE 00;"
        "a C800 16 FF 10 00 00 CA FE 00; a C700 #259-259@16;" + extended_abort},
    Script{"bounds_the_bytes_announced_and_never_sent",
        "flood 1 C800 14 00 00 00 07 CA FE 00; = C800>90 15 10 01 00 00 CA FE 00; flood 1 C800 14 00 00 00 07 CA FE 00;"
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

} // namespace
} // namespace qv::can_bus::tp
