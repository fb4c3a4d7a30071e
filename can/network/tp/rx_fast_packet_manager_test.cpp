#include "can/network/tp/rx_fast_packet_manager.h"

#include "can/network/tp/transport_fixture.h"

namespace qv::can_bus::tp::rx::fast_packet {
namespace {

// A message of 14 bytes with the sequence number 1.
const std::string first = "a 1F805 20 0E 01 02 03 04 05 06;";
const std::string second = "a 1F805 21 07 08 09 0A 0B 0C 0D;";
const std::string third = "a 1F805 22 0E FF FF FF FF FF FF;";
const std::string whole = "heard 1F805 80>FE global #14;";

// clang-format off
INSTANTIATE_TEST_SUITE_P(Fast_packet, Script_test, testing::Values(
    Script{"leaves_with_the_tick_after_its_last_frame", first + second + third + "+1;" + whole + "+1"},
    Script{"of_6_bytes_is_one_frame",          "a 1F805 E0 06 01 02 03 04 05 06; +1; heard 1F805 80>FE global #6"},
    Script{"of_no_bytes_leaves_empty",         "a 1F805 00 00 01 02 03 04 05 06; +1; heard 1F805 80>FE global ;"},
    Script{"ignores_repeated_frames",          first + first + second + second + third + third + "+1;" + whole},
    Script{"ignores_a_frame_ahead_of_its_turn", first + third + second + third + "+1;" + whole},
    Script{"without_its_last_frame_is_none",   first + second + "+1"},
    Script{"without_its_first_frame_is_none",  second + third + "+1"},
    Script{"ignores_frames_of_other_sequences_lengths_and_senders",
        first + "a 1F805 41 1 2 3 4 5 6 7; a 1F805 21 1 2 3; b 1F805 21 1 2 3 4 5 6 7; ? 1F805 21 1 2 3 4 5 6 7;" +
        second + third + "+1;" + whole},
    Script{"lives_151_ms_from_frame_to_frame",   first + "+151;" + second + "+151;" + third + "+1;" + whole},
    Script{"is_bounded_in_number",
        "flood 512 1F805 20 0E 1 2 3 4 5 6;" + first + second + third + "+152;" + first + second + third + "+1;" + whole},
    Script{"dies_152_ms_after_its_last_frame", first + second + "+152;" + third + "+1;" +
        first + second + third + "+152; +1"}),
    script_name);
// clang-format on

} // namespace
} // namespace qv::can_bus::tp::rx::fast_packet
