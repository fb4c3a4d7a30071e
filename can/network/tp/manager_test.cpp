#include "can/network/tp/manager.h"

#include "can/network/tp/rx_message.h"
#include "can/network/tp/transport_fixture.h"

namespace qv::can_bus::tp {
namespace {

class Receive_test : public Transport_test {
protected:
    void SetUp() override
    {
        Transport_test::SetUp();
        manager_ = std::make_shared<manager::Manager>(*this);
        observers_.add(manager_);
    }

    /// The data frames `first` to `last` of the message 1, 2, 3 ...; the sequence number counts from `offset`.
    void data(const Peer& sender, std::uint32_t pgn, std::uint32_t first, std::uint32_t last,
              std::uint32_t offset = 0)
    {
        for (std::uint32_t packet = first; packet <= last; ++packet) {
            std::string bytes = number("%02X", (packet - offset) & 0xFF);
            for (std::uint32_t place = 1; place <= 7; ++place) {
                bytes += number(" %02X", (7 * (packet - 1) + place) & 0xFF);
            }
            frame(sender, pgn, bytes);
        }
    }
    void packets(const Peer& sender, std::uint32_t first, std::uint32_t last)
    {
        data(sender, 0xEB00, first, last);
    }

    std::shared_ptr<manager::Manager> manager_;
};

const char* const abort_bad_data = "EC00>80 FF 02 FF FF FF CA FE 00";
const char* const abort_timeout = "EC00>80 FF 03 FF FF FF CA FE 00";

TEST_F(Receive_test, a_message_is_delivered_before_the_handling_of_its_last_frame_returns)
{
    cm(a_, "10 0F 00 03 FF 00 EF 00");
    EXPECT_EQ(sent(), Frames{}); // the CTS comes with the tick
    pass(1);
    EXPECT_EQ(sent(), Frames{"EC00>80 11 03 01 FF FF 00 EF 00"});
    packets(a_, 1, 2);
    EXPECT_EQ(sent(), Frames{});
    packets(a_, 3, 3);
    EXPECT_EQ(sent(), Frames{"EC00>80 13 0F 00 03 FF 00 EF 00"});
    EXPECT_EQ(heard(), Frames{"EF00 80>21 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"});
    packets(a_, 3, 3);
    pass(5000);
    EXPECT_EQ(sent(), Frames{}); // it is over
}

TEST_F(Receive_test, a_group_without_destination_is_delivered_as_global)
{
    cm(a_, "10 09 00 02 FF CA FE 00");
    pass(1);
    packets(a_, 1, 2);
    EXPECT_EQ(heard(), Frames{"FECA 80>FE global 01 02 03 04 05 06 07 08 09"});
}

TEST_F(Receive_test, packets_of_a_window_may_come_in_any_order)
{
    cm(a_, "10 10 00 03 FF CA FE 00");
    pass(1);
    for (const std::uint32_t packet : {3U, 1U, 2U}) {
        packets(a_, packet, packet);
    }
    EXPECT_EQ(heard(), Frames{"FECA 80>FE global 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10"});
}

struct Announcement {
    const char* name;
    bool extended;
    const char* rts;
    bool accepted;
};

class Announcement_test : public Receive_test, public testing::WithParamInterface<Announcement> {};

TEST_P(Announcement_test, is_refused_with_reason_7_unless_it_is_in_order)
{
    const auto& row = GetParam();
    frame(a_, row.extended ? 0xC800 : 0xEC00, row.rts);
    pass(1);
    ASSERT_EQ(sent_.size(), 1U);
    const std::string group = std::string(row.rts).substr(15);
    const Frames refusal{(row.extended ? "C800>80 FF 07 FF FF FF " : "EC00>80 FF 07 FF FF FF ") + group};
    EXPECT_EQ(sent() != refusal, row.accepted);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, Announcement_test, testing::Values(
    Announcement{"nine_bytes",            false, "10 09 00 02 FF CA FE 00", true},
    Announcement{"eight_bytes",           false, "10 08 00 02 FF CA FE 00", false},
    Announcement{"no_bytes",              false, "10 00 00 00 FF CA FE 00", false},
    Announcement{"1785_bytes",            false, "10 F9 06 FF FF CA FE 00", true},
    Announcement{"1786_bytes",            false, "10 FA 06 00 FF CA FE 00", false},
    Announcement{"one_packet_too_many",   false, "10 0F 00 04 FF CA FE 00", false},
    Announcement{"one_packet_too_few",    false, "10 0F 00 02 FF CA FE 00", false},
    Announcement{"group_of_19_bits",      false, "10 0F 00 03 FF 02 00 04", false},
    Announcement{"etp_1785_bytes",        true,  "14 F9 06 00 00 CA FE 00", false},
    Announcement{"etp_1786_bytes",        true,  "14 FA 06 00 00 CA FE 00", true},
    Announcement{"etp_117440512_bytes",   true,  "14 00 00 00 07 CA FE 00", true},
    Announcement{"etp_117440513_bytes",   true,  "14 01 00 00 07 CA FE 00", false},
    Announcement{"etp_all_bits",          true,  "14 FF FF FF FF CA FE 00", false}),
    [](const auto& row) { return std::string(row.param.name); });
// clang-format on

struct Windows {
    std::uint32_t cts_maximum;
    const char* rts; ///< 70 bytes, 10 packets
    const char* cts;
};

class Cts_test : public Receive_test, public testing::WithParamInterface<Windows> {};

TEST_P(Cts_test, asks_for_no_more_than_either_side_allows)
{
    limits_.rx_dt_message_count_cts_maximum = GetParam().cts_maximum;
    cm(a_, GetParam().rts);
    pass(1);
    EXPECT_EQ(sent(), Frames{GetParam().cts});
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, Cts_test, testing::Values(
    Windows{16, "10 46 00 0A FF CA FE 00", "EC00>80 11 0A 01 FF FF CA FE 00"},
    Windows{16, "10 46 00 0A 05 CA FE 00", "EC00>80 11 05 01 FF FF CA FE 00"},
    Windows{4,  "10 46 00 0A 05 CA FE 00", "EC00>80 11 04 01 FF FF CA FE 00"},
    Windows{16, "10 46 00 0A 00 CA FE 00", "EC00>80 11 00 01 FF FF CA FE 00"}));
// clang-format on

TEST_F(Receive_test, a_small_message_goes_from_window_to_window_at_once)
{
    cm(a_, "10 46 00 0A 04 CA FE 00");
    pass(1);
    sent();
    packets(a_, 1, 4);
    EXPECT_EQ(sent(), Frames{"EC00>80 11 04 05 FF FF CA FE 00"});
    packets(a_, 5, 8);
    EXPECT_EQ(sent(), Frames{"EC00>80 11 02 09 FF FF CA FE 00"});
    packets(a_, 9, 10);
    EXPECT_EQ(sent(), Frames{"EC00>80 13 46 00 0A FF CA FE 00"});
    EXPECT_EQ(heard().size(), 1U);
}

struct Intruder {
    const char* name;
    bool known;
    std::uint32_t destination;
    const char* bytes;
    Frames answer;
};

class Intruder_test : public Receive_test, public testing::WithParamInterface<Intruder> {};

/// Packets 1 to 4 of 10 were asked for, 1 and 2 are there.
TEST_P(Intruder_test, ends_the_session_when_it_is_its_sender_and_is_ignored_otherwise)
{
    cm(a_, "10 46 00 0A 04 CA FE 00");
    pass(1);
    packets(a_, 1, 2);
    sent();
    frame(GetParam().known ? a_ : nullptr, 0xEB00, GetParam().bytes, GetParam().destination);
    EXPECT_EQ(sent(), GetParam().answer);
    const bool alive = GetParam().answer.empty();
    packets(a_, 3, 4);
    EXPECT_EQ(sent(), alive ? Frames{"EC00>80 11 04 05 FF FF CA FE 00"} : Frames{});
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, Intruder_test, testing::Values(
    Intruder{"sequence_number_zero", true,  0x21, "00 01 02 03 04 05 06 07", {abort_bad_data}},
    Intruder{"behind_the_window",    true,  0x21, "05 01 02 03 04 05 06 07", {abort_bad_data}},
    Intruder{"behind_the_message",   true,  0x21, "FF 01 02 03 04 05 06 07", {abort_bad_data}},
    Intruder{"seven_bytes",          true,  0x21, "03 01 02 03 04 05 06", {}},
    Intruder{"empty",                true,  0x21, "", {}},
    Intruder{"to_all",               true,  0xFF, "03 01 02 03 04 05 06 07", {}},
    Intruder{"unknown_sender",       false, 0x21, "03 01 02 03 04 05 06 07", {}}),
    [](const auto& row) { return std::string(row.param.name); });
// clang-format on

TEST_F(Receive_test, a_repeated_packet_shows_when_its_window_is_full)
{
    cm(a_, "10 0F 00 03 FF CA FE 00");
    pass(1);
    sent();
    packets(a_, 1, 2);
    packets(a_, 2, 2);
    EXPECT_EQ(sent(), Frames{abort_bad_data});
    EXPECT_EQ(heard(), Frames{});
}

TEST_F(Receive_test, a_lost_packet_makes_it_ask_for_the_same_window_again)
{
    cm(a_, "10 46 00 0A 08 CA FE 00");
    pass(1);
    packets(a_, 1, 8);
    packets(a_, 9, 9);
    sent();
    pass(754);
    EXPECT_EQ(sent(), Frames{});
    pass(1);
    EXPECT_EQ(sent(), Frames{"EC00>80 11 02 09 FF FF CA FE 00"});
    packets(a_, 9, 10);
    EXPECT_EQ(heard().size(), 1U);
}

TEST_F(Receive_test, asks_five_times_for_a_window_and_gives_up)
{
    cm(a_, "10 46 00 0A 04 CA FE 00");
    pass(1);
    packets(a_, 1, 4); // a complete window gives all tries back
    sent_ = Frames{sent_.back()};
    for (int attempt = 1; attempt <= 5; ++attempt) {
        EXPECT_EQ(sent(), Frames{"EC00>80 11 04 05 FF FF CA FE 00"});
        pass(1254);
        EXPECT_EQ(sent(), Frames{});
        pass(1);
    }
    EXPECT_EQ(sent(), Frames{abort_timeout});
    packets(a_, 5, 8);
    EXPECT_EQ(sent(), Frames{});
}

TEST_F(Receive_test, a_second_announcement_changes_nothing_in_the_session_under_way)
{
    cm(a_, "10 0F 00 03 FF CA FE 00");
    pass(1);
    packets(a_, 1, 1);
    cm(a_, "10 46 00 0A 01 DA FE 00");
    packets(a_, 2, 3);
    EXPECT_EQ(sent(), (Frames{"EC00>80 11 03 01 FF FF CA FE 00", "EC00>80 13 0F 00 03 FF CA FE 00"}));
}

TEST_F(Receive_test, the_peers_abort_of_its_group_ends_the_session)
{
    cm(a_, "10 0F 00 03 FF CA FE 00");
    pass(1);
    sent();
    cm(a_, "FF 01 FF FF FF DA FE 00"); // another group
    cm(b_, "FF 01 FF FF FF CA FE 00"); // another peer
    extended_cm(a_, "FF 01 FF FF FF CA FE 00");
    packets(a_, 1, 2);
    cm(a_, "FF 01 FF FF FF CA FE 00");
    packets(a_, 3, 3);
    EXPECT_EQ(sent(), Frames{});
    EXPECT_EQ(heard(), Frames{});
}

TEST_F(Receive_test, large_receptions_take_turns_window_by_window)
{
    const Frames a_cts_1{"EC00>80 11 10 01 FF FF CA FE 00"};
    cm(a_, "10 BC 02 64 FF CA FE 00"); // 700 bytes, 100 packets
    EXPECT_EQ(sent(), a_cts_1);        // nobody else has the turn
    cm(b_, "10 BC 02 64 FF CA FE 00");
    EXPECT_EQ(sent(), Frames{});
    pass(1);
    for (int repetition = 0; repetition < 3; ++repetition) {
        EXPECT_EQ(sent(), Frames{"EC00>81 11 00 01 FF FF CA FE 00"});
        pass(249);
        EXPECT_EQ(sent(), Frames{});
        pass(1);
    }
    sent();
    packets(a_, 1, 16);
    EXPECT_EQ(sent(), (Frames{"EC00>80 11 00 11 FF FF CA FE 00", "EC00>81 11 10 01 FF FF CA FE 00"}));
    packets(b_, 1, 16);
    EXPECT_EQ(sent(), (Frames{"EC00>81 11 00 11 FF FF CA FE 00", "EC00>80 11 10 11 FF FF CA FE 00"}));
    cm(a_, "FF 01 FF FF FF CA FE 00"); // the one with the turn goes
    EXPECT_EQ(sent(), Frames{"EC00>81 11 10 11 FF FF CA FE 00"});
    packets(b_, 17, 32);
    EXPECT_EQ(sent(), Frames{"EC00>81 11 10 21 FF FF CA FE 00"}); // alone it keeps the turn
}

TEST_F(Receive_test, a_reception_of_16_packets_neither_waits_for_a_large_one_nor_stops_it)
{
    cm(a_, "10 77 00 11 FF CA FE 00"); // 17 packets
    cm(b_, "10 70 00 10 FF CA FE 00"); // 16
    pass(1);
    EXPECT_EQ(sent(), (Frames{"EC00>80 11 10 01 FF FF CA FE 00", "EC00>81 11 10 01 FF FF CA FE 00"}));
    packets(b_, 1, 16);
    packets(a_, 1, 16);
    EXPECT_EQ(sent(), (Frames{"EC00>81 13 70 00 10 FF CA FE 00", "EC00>80 11 01 11 FF FF CA FE 00"}));
}

class Extended_receive_test : public Receive_test {
protected:
    /// 1800 bytes, 258 packets; the first 16 were asked for.
    void announce() { extended_cm(a_, "14 08 07 00 00 CA FE 00"); }
    void window(std::uint32_t first, std::uint32_t count)
    {
        const std::uint32_t offset = first - 1;
        extended_cm(a_, number("16 %02X", count) + number(" %02X", offset & 0xFF) +
                            number(" %02X 00 CA FE 00", offset >> 8));
        data(a_, 0xC700, first, first + count - 1, offset);
    }
};

TEST_F(Extended_receive_test, a_long_message_comes_in_by_windows_of_16)
{
    announce();
    EXPECT_EQ(sent(), Frames{"C800>80 15 10 01 00 00 CA FE 00"});
    for (std::uint32_t first = 1; first + 15 <= 256; first += 16) {
        window(first, 16);
    }
    EXPECT_EQ(sent().back(), "C800>80 15 02 01 01 00 CA FE 00");
    window(257, 2);
    EXPECT_EQ(sent(), Frames{"C800>80 17 08 07 00 00 CA FE 00"});
    EXPECT_EQ(heard(), Frames{"FECA 80>FE global " + hex(counting(1800))});
    std::uint32_t updates = 0;
    while (ecu_dispatcher_->take(rx::message::Transfer_update::id)) {
        ++updates;
    }
    EXPECT_EQ(updates, 4U); // at 71, 142, 213 and 258 packets
    EXPECT_TRUE(ecu_dispatcher_->take(rx::message::TP_received::id));
}

TEST_F(Extended_receive_test, the_senders_window_counts_when_it_does_not_go_forward)
{
    announce();
    window(1, 16);
    sent();
    window(9, 4); // back to 8 packets, and fewer than asked for
    EXPECT_EQ(sent(), Frames{"C800>80 15 10 0D 00 00 CA FE 00"});
    extended_cm(a_, "16 10 0D 00 00 CA FE 00"); // offset 13, one ahead
    EXPECT_EQ(sent(), Frames{"C800>80 FF 02 FF FF FF CA FE 00"});
}

TEST_F(Extended_receive_test, data_before_its_offset_a_second_offset_and_an_empty_window_end_the_session)
{
    const Frames abort{"C800>80 FF 02 FF FF FF CA FE 00"};
    announce();
    sent();
    data(a_, 0xC700, 1, 1);
    EXPECT_EQ(sent(), abort);
    announce();
    sent();
    extended_cm(a_, "16 10 00 00 00 CA FE 00");
    extended_cm(a_, "16 10 00 00 00 CA FE 00");
    EXPECT_EQ(sent(), abort);
    announce();
    sent();
    window(1, 0);
    EXPECT_EQ(sent(), Frames{});
    data(a_, 0xC700, 1, 1);
    EXPECT_EQ(sent(), abort);
}

TEST_F(Extended_receive_test, a_lost_offset_is_asked_for_again_after_1255_ms)
{
    announce();
    sent();
    pass(1254);
    EXPECT_EQ(sent(), Frames{});
    pass(1);
    EXPECT_EQ(sent(), Frames{"C800>80 15 10 01 00 00 CA FE 00"});
}

TEST_F(Receive_test, who_hears_a_message_may_send_another_or_end_all_sessions)
{
    listener_->reaction = [this] {
        manager_->send(nullptr, 0xFEDA, std::make_unique<Byte_array>(counting(9)), 9, a_);
        packets(b_, 2, 2); // ends the other reception from within
    };
    cm(a_, "10 09 00 02 FF CA FE 00");
    cm(b_, "10 09 00 02 FF CA FE 00");
    pass(1);
    packets(b_, 1, 1);
    packets(a_, 1, 2);
    EXPECT_EQ(heard().size(), 2U);
    sent();
    pass(1);
    EXPECT_EQ(sent(), Frames{"EC00>80 10 09 00 02 FF DA FE 00"});

    listener_->reaction = [this] { manager_->unsubscribe(); };
    cm(a_, "10 77 00 11 FF CA FE 00");
    cm(b_, "10 09 00 02 FF CA FE 00");
    pass(1);
    packets(b_, 1, 2);
    sent();
    pass(5000);
    EXPECT_EQ(sent(), Frames{});
}

TEST_F(Receive_test, announcements_that_are_never_kept_add_up_to_a_bound)
{
    std::vector<Peer> strangers;
    std::size_t accepted = 0;
    const auto announce = [&](bool extended, const char* rts) {
        strangers.push_back(peer(0x90));
        sent();
        frame(strangers.back(), extended ? 0xC800 : 0xEC00, rts);
        accepted += sent_.empty() || sent_.back().substr(8, 5) != "FF 07" ? 1 : 0;
    };
    for (int count = 0; count < 10; ++count) {
        announce(true, "14 00 00 00 07 CA FE 00");
    }
    EXPECT_EQ(accepted, 2U);
    for (int tick = 0; tick < 20; ++tick) { // five tries of each
        pass(1255);
    }
    accepted = 0;
    for (int count = 0; count < 1000; ++count) {
        announce(false, "10 F9 06 FF FF CA FE 00");
    }
    EXPECT_EQ(accepted, manager::Manager::receptions_maximum);
}

} // namespace
} // namespace qv::can_bus::tp
