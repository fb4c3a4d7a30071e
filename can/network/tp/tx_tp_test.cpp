#include "can/network/tp/tx_tp.h"

#include "can/network/tp/transport_fixture.h"

namespace qv::can_bus::tp {
namespace {

const std::string rts_15 = "= EC00>80 10 0F 00 03 FF CA FE 00;";
const std::string abort_timeout = "= EC00>80 FF 03 FF FF FF CA FE 00;";
const std::string to_15 = "send 15 a; +1;" + rts_15;
const std::string to_70 = "send 70 a; +1; = EC00>80 10 46 00 0A FF CA FE 00;";
const std::string to_2000 = "send 2000 a; +1; = C800>80 14 D0 07 00 00 CA FE 00;"; // 286 packets

// clang-format off
INSTANTIATE_TEST_SUITE_P(Send, Script_test, testing::Values(
    Script{"leaves_its_last_packet_filled_up_and_ends_with_the_confirmation", to_15 +
        "a EC00 11 03 01 FF FF CA FE 00; = EB00>80 #1-2; = EB00>80 03 0F FF FF FF FF FF FF;"
        "a EC00 13 0F 00 03 FF CA FE 00; ended +; +2000"},
    Script{"bursts_four_packets_a_tick_and_then_waits_1255_ms", to_70 +
        "a EC00 11 06 01 FF FF CA FE 00; = EB00>80 #1-4; a EC00 11 01 01 FF FF CA FE 00;" // ignored while sending
        "+1; = EB00>80 #5-6; +1254; +1;" + abort_timeout + "= EC00>80 10 46 00 0A FF CA FE 00"},
    Script{"sends_a_window_from_the_middle_cut_to_the_rest_and_without_group", to_70 +
        "a EC00 11 03 05 FF FF CA FE 00; = EB00>80 #5-7; a EC00 11 FF 09 FF FF CA FE 00; = EB00>80 #9-10;"
        "a EC00 11 01 01 FF FF 00 00 00; = EB00>80 #1-1"},
    Script{"ignores_a_cts_outside_the_message_of_another_group_short_to_all_and_from_others", to_70 +
        "a EC00 11 01 0B FF FF CA FE 00; a EC00 11 01 00 FF FF CA FE 00; a EC00 11 01 01 FF FF CB FE 00;"
        "a EC00 11 01 01 FF FF CA FE; a all EC00 11 01 01 FF FF CA FE 00; ? EC00 11 01 01 FF FF CA FE 00;"
        "b EC00 11 01 01 FF FF CA FE 00"},
    Script{"by_the_extended_protocol_counts_packets_from_the_offset_and_cuts_to_the_rest", to_2000 +
        "a C800 15 03 05 00 00 CA FE 00; = C800>80 16 03 04 00 00 CA FE 00; = C700>80 #5-7@4;"
        "a C800 15 10 1D 01 00 CA FE 00; = C800>80 16 02 1C 01 00 CA FE 00; = C700>80 #285-285@284;"
        "= C700>80 02 CC CD CE CF D0 FF FF; a C800 17 D0 07 00 00 CA FE 00; ended +"},
    Script{"by_the_extended_protocol_ignores_the_other_and_a_cts_outside_the_message", to_2000 +
        "a EC00 11 01 01 FF FF CA FE 00; a C800 15 10 1F 01 00 CA FE 00; a C800 15 10 00 00 00 CA FE 00;"
        "a C800 15 FF FF FF FF CA FE 00"},
    Script{"held_waits_1055_ms_and_each_hold_begins_them_again", to_15 +
        "a EC00 11 00 01 FF FF CA FE 00; +1054; a EC00 11 00 01 FF FF CA FE 00; +1054;"
        "a EC00 11 01 01 FF FF CA FE 00; = EB00>80 #1-1;"
        "a EC00 11 00 02 FF FF CA FE 00; +1054; +1;" + abort_timeout + rts_15},
    Script{"asks_five_times_and_gives_up_when_the_peer_stays_silent", to_15 +
        repeat(4, "+1254; +1;" + abort_timeout + rts_15) + "+1254; +1;" + abort_timeout + "ended -; +2000"},
    Script{"begins_again_after_a_confirmation_that_differs_and_after_an_abort_five_times_in_all", to_15 +
        "a EC00 13 0E 00 03 FF CA FE 00;" + rts_15 +
        "a EC00 13 0F 00 02 FF CA FE 00;" + rts_15 +
        "a EC00 FF 01 FF FF FF CA FE 00; +1;" + rts_15 +
        "a EC00 FF 01 FF FF FF CA FE 00; +1;" + rts_15 +
        "a EC00 FF 01 FF FF FF CA FE 00; +1; ended -"},
    Script{"waits_for_the_end_of_the_one_before", to_15 +
        "a EC00 13 0F 00 03 FF CA FE 00;" // late, of an equal message
        "send 9 all; a EC00 11 03 01 FF FF CA FE 00; = EB00>80 #1-2; = EB00>80 03 0F FF FF FF FF FF FF; +51;"
        "a EC00 13 0F 00 03 FF CA FE 00; ended +; +1; = EC00>FF 20 09 00 02 FF CA FE 00;"
        "+51; = EB00>FF #1-1; +51; = EB00>FF 02 08 09 FF FF FF FF FF; ended +"}),
    script_name);
// clang-format on

class Send_test : public Transport_test {};

TEST_F(Send_test, a_broadcast_of_1785_bytes_sends_255_packets_51_ms_apart_and_needs_no_answer)
{
    run("send 1785 all; +1; = EC00>FF 20 F9 06 FF FF CA FE 00");
    for (int packet = 1; packet <= 255; ++packet) {
        const auto number = std::to_string(packet);
        run("+50; +1; = EB00>FF #" + number + "-" + number + (packet == 255 ? "; ended +" : ""));
    }
}

TEST_F(Send_test, refuses_what_no_protocol_carries_and_a_queue_without_end)
{
    EXPECT_FALSE(manager_->send(nullptr, 0xFECA, nullptr, 9, a_));
    EXPECT_FALSE(manager_->send(nullptr, 0xFECA, std::make_unique<Byte_array>(counting(9)), 10, a_));
    EXPECT_FALSE(send(8, a_));
    EXPECT_FALSE(send(1786, nullptr));
    for (std::size_t count = 0; count < manager::Manager::sends_maximum; ++count) {
        ASSERT_TRUE(send(9, a_));
    }
    EXPECT_FALSE(send(9, a_));
}

/// Supplies the payload's bytes below `limit` and notes who asked for what.
class Noting_supplier final : public data_supplier::Data_supplier {
public:
    using Data_supplier::Data_supplier;
    bool get(std::span<std::uint8_t> view, const Byte_array& payload, std::uint32_t offset) override
    {
        asked = offset;
        return offset + view.size() <= limit && Data_supplier::get(view, payload, offset);
    }
    std::size_t limit = 1000;
    std::uint32_t asked = 0; ///< the last offset
};

TEST_F(Send_test, a_supplier_that_fails_aborts_the_attempt_of_which_a_broadcast_has_one)
{
    const auto supplier = std::make_shared<Noting_supplier>();
    supplier->limit = 8;
    EXPECT_TRUE(send(9, nullptr, supplier));
    run("+1; = EC00>FF 20 09 00 02 FF CA FE 00; +51; = EB00>FF #1-1; +51; ended -");
    EXPECT_TRUE(send(15, a_, supplier));
    run("+1;" + rts_15 + "a EC00 11 03 01 FF FF CA FE 00; = EB00>80 #1-1; = EC00>80 FF 02 FF FF FF CA FE 00;" +
        rts_15);
}

TEST_F(Send_test, withdrawn_ends_at_once_and_tells_a_peer_in_the_middle_of_it)
{
    const auto running = std::make_shared<Noting_supplier>();
    const auto waiting = std::make_shared<Noting_supplier>();
    send(15, a_, running), send(15, a_, waiting), send(9, b_);
    run("+1;" + rts_15);
    manager_->withdraw(*waiting);
    manager_->withdraw(*waiting);
    manager_->withdraw(*running);
    run("ended -; = EC00>80 FF 03 FF FF FF CA FE 00; ended -; a EC00 11 03 01 FF FF CA FE 00; +1;"
        "= EC00>81 10 09 00 02 FF CA FE 00; b EC00 11 02 01 FF FF CA FE 00; = EB00>81 #1-1;"
        "= EB00>81 02 08 09 FF FF FF FF FF; b EC00 13 09 00 02 FF CA FE 00; ended +");
    send(15, a_, running);
    manager_->withdraw(*running);
    run("ended -");
}

TEST(Data_supplier_test, asks_only_for_what_its_ring_does_not_hold_and_never_behind_the_payload)
{
    constexpr std::uint32_t nothing = 99;
    struct Row {
        std::uint32_t offset, asked;
        const char* bytes;
    };
    Noting_supplier supplier(10);
    const Byte_array payload(counting(20));
    // clang-format off
    for (const auto& row : {Row{0, 0, "01 02 03 04 05 06 07"},
                            Row{7, 7, "08 09 0A 0B 0C 0D 0E"}, // now it holds 4 to 13
                            Row{5, nothing, "06 07 08 09 0A 0B 0C"},
                            Row{10, 14, "0B 0C 0D 0E 0F 10 11"}, // in part
                            Row{2, 2, "03 04 05 06 07 08 09"},   // begins anew there
                            Row{4, 9, "05 06 07 08 09 0A 0B"},
                            Row{14, 14, ""}, Row{0xFFFFFFFE, 0xFFFFFFFE, ""}}) {
        // clang-format on
        std::vector<std::uint8_t> view(7);
        supplier.asked = nothing;
        EXPECT_EQ(supplier.read(view, payload, row.offset) ? hex(view) : "", row.bytes);
        EXPECT_EQ(supplier.asked, row.asked);
    }
}

} // namespace
} // namespace qv::can_bus::tp
