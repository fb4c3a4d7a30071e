#include "can/network/tp/rx_bam_manager.h"

#include "can/network/tp/transport_fixture.h"

namespace qv::can_bus::tp::rx::bam {
namespace {

const std::string announced = "a all EC00 20 09 00 02 FF CA FE 00;";
const std::string packets = "a all EB00 #1-2;";
const std::string heard = "heard FECA 80>FE global #9;";

// clang-format off
INSTANTIATE_TEST_SUITE_P(Broadcast, Script_test, testing::Values(
    Script{"is_delivered_with_its_last_packet", announced + packets + heard},
    Script{"of_a_group_with_destination_goes_to_all",
        "b all EC00 20 09 00 02 FF 00 EF 00; b all EB00 #1-2; heard EF00 81>FF global #9"},
    Script{"of_8_bytes_is_ignored",             "a all EC00 20 08 00 02 FF CA FE 00;" + packets},
    Script{"of_1786_bytes_is_ignored",          "a all EC00 20 FA 06 00 FF CA FE 00;" + packets},
    Script{"of_a_wrong_packet_count_is_ignored", "a all EC00 20 09 00 03 FF CA FE 00;" + packets},
    Script{"announced_by_too_short_a_frame_is_ignored", "a all EC00 20 09 00 02 FF CA FE; a all EC00 20;" + packets},
    Script{"of_a_group_of_19_bits_is_ignored",  "a all EC00 20 09 00 02 FF 02 00 04;" + packets},
    Script{"announced_as_rts_is_ignored",       "a all EC00 10 09 00 02 FF CA FE 00;" + packets},
    Script{"from_a_stranger_or_to_one_node_is_ignored",
        "? EC00 20 09 00 02 FF CA FE 00; a EC00 20 09 00 02 FF CA FE 00; ? all EB00 #1-2;" + packets},
    Script{"takes_nothing_from_strangers_others_and_frames_to_one_node",
        announced + "? all EB00 #1-1; b all EB00 #1-1; a EB00 #1-1; a all EB00 #2-2"},
    Script{"disappears_755_ms_after_its_last_packet",
        announced + "+754; a all EB00 #1-1; +754; a all EB00 #2-2;" + heard +
        announced + "a all EB00 #1-1; +755; a all EB00 #2-2"},
    Script{"with_a_packet_twice_never_ends_well", announced + "a all EB00 #1-1; a all EB00 #1-1; a all EB00 #2-2"},
    Script{"ignores_packets_that_it_does_not_have", announced +
        "a all EB00 00 1 2 3 4 5 6 7; a all EB00 03 1 2 3 4 5 6 7;" + packets + heard},
    Script{"is_bounded_for_each_sender", repeat(20, announced) + repeat(8, packets + heard) + packets},
    Script{"is_bounded_in_all",
        "flood 508 all EC00 20 09 00 02 FF CA FE 00;" + announced + packets + "+755;" + announced + packets + heard},
    Script{"waits_behind_the_senders_earlier_one",
        "a all EC00 20 10 00 03 FF DA FE 00;" + announced + packets +
        "a all EB00 #3-3; heard FEDA 80>FE global #16;" + packets + heard}),
    script_name);
// clang-format on

} // namespace
} // namespace qv::can_bus::tp::rx::bam
