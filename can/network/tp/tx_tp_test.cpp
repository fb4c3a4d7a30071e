#include "can/network/tp/tx_tp.h"

#include "can/network/tp/manager.h"
#include "can/network/tp/transport_fixture.h"

namespace qv::can_bus::tp {
namespace {

class Send_test : public Transport_test {
protected:
    void SetUp() override
    {
        Transport_test::SetUp();
        manager_ = std::make_shared<manager::Manager>(*this);
        observers_.add(manager_);
    }

    bool send(std::uint32_t size, const Peer& destination,
              std::shared_ptr<data_supplier::Data_supplier> supplier = nullptr)
    {
        return manager_->send(std::move(supplier), 0xFECA, std::make_unique<Byte_array>(counting(size)), size,
                              destination);
    }
    /// How the sends ended since the last look: '+' for each good one, '-' for each bad one.
    std::string ended()
    {
        std::string text;
        for (const auto& session : std::exchange(transferred_, {})) {
            text += session->success() ? '+' : '-';
        }
        return text;
    }

    std::shared_ptr<manager::Manager> manager_;
};

TEST_F(Send_test, fifteen_bytes_leave_in_three_packets_and_end_with_the_confirmation)
{
    ASSERT_TRUE(send(15, a_));
    EXPECT_EQ(sent(), Frames{}); // begins with the tick
    pass(4);
    EXPECT_EQ(sent(), Frames{"EC00>80 10 0F 00 03 FF CA FE 00"});
    cm(a_, "11 03 01 FF FF CA FE 00");
    EXPECT_EQ(sent(), (Frames{"EB00>80 01 01 02 03 04 05 06 07", "EB00>80 02 08 09 0A 0B 0C 0D 0E",
                              "EB00>80 03 0F FF FF FF FF FF FF"}));
    EXPECT_EQ(manager_->current_transfer().total, 15U);
    EXPECT_EQ(manager_->current_transfer().sent, 21U);
    cm(a_, "13 0F 00 03 FF CA FE 00");
    EXPECT_EQ(ended(), "+");
    EXPECT_EQ(manager_->current_transfer().total, 0U);
    pass(2000);
    EXPECT_EQ(sent(), Frames{});
}

TEST_F(Send_test, a_burst_has_four_packets_and_the_next_one_leaves_with_the_tick)
{
    send(70, a_);
    pass(4);
    sent();
    cm(a_, "11 06 01 FF FF CA FE 00");
    EXPECT_EQ(sent().size(), 4U);
    cm(a_, "11 01 01 FF FF CA FE 00"); // in the middle of sending it changes nothing
    EXPECT_EQ(sent(), Frames{});
    pass(1);
    EXPECT_EQ(sent().size(), 2U);
    pass(1254);
    EXPECT_EQ(sent(), Frames{}); // the window is through: the peer has the word
    pass(1);
    EXPECT_EQ(sent(), (Frames{"EC00>80 FF 03 FF FF FF CA FE 00", "EC00>80 10 46 00 0A FF CA FE 00"}));
}

struct Window {
    const char* name;
    std::uint32_t size;
    bool extended;
    const char* cts;
    Frames expected; ///< without their data bytes
};

class Window_test : public Send_test, public testing::WithParamInterface<Window> {};

TEST_P(Window_test, is_sent_as_the_peer_asks)
{
    const auto& row = GetParam();
    limits_.tx_dt_message_count_time_cycle_maximum = 100;
    send(row.size, a_);
    pass(4);
    sent();
    frame(a_, row.extended ? 0xC800 : 0xEC00, row.cts);
    Frames heads;
    for (const auto& text : sent()) {
        heads.push_back(text.substr(0, text[1] == 'C' || text.starts_with("C8") ? 31 : 10));
    }
    EXPECT_EQ(heads, row.expected);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, Window_test, testing::Values(
    Window{"tp_from_the_middle", 70, false, "11 03 05 FF FF CA FE 00", {"EB00>80 05", "EB00>80 06", "EB00>80 07"}},
    Window{"tp_cut_to_the_rest", 70, false, "11 FF 09 FF FF CA FE 00", {"EB00>80 09", "EB00>80 0A"}},
    Window{"tp_behind_the_end", 70, false, "11 01 0B FF FF CA FE 00", {}},
    Window{"tp_packet_zero", 70, false, "11 01 00 FF FF CA FE 00", {}},
    Window{"tp_packet_zero_of_the_longest", 1785, false, "11 01 00 FF FF CA FE 00", {}},
    Window{"tp_other_group", 70, false, "11 01 01 FF FF CB FE 00", {}},
    Window{"tp_no_group_fits_any", 70, false, "11 01 01 FF FF 00 00 00", {"EB00>80 01"}},
    Window{"tp_short_frame", 70, false, "11 01 01 FF FF CA FE", {}},
    Window{"etp_from_the_middle", 2000, true, "15 03 05 00 00 CA FE 00",
           {"C800>80 16 03 04 00 00 CA FE 00", "C700>80 01", "C700>80 02", "C700>80 03"}},
    Window{"etp_cut_to_the_rest", 2000, true, "15 10 1E 01 00 CA FE 00", // 286 of 286
           {"C800>80 16 01 1D 01 00 CA FE 00", "C700>80 01"}},
    Window{"etp_behind_the_end", 2000, true, "15 10 1F 01 00 CA FE 00", {}},
    Window{"etp_packet_zero", 2000, true, "15 10 00 00 00 CA FE 00", {}},
    Window{"etp_far_behind_the_end", 2000, true, "15 FF FF FF FF CA FE 00", {}},
    Window{"etp_answered_by_tp", 2000, false, "11 01 01 FF FF CA FE 00", {}}),
    [](const auto& row) { return std::string(row.param.name); });
// clang-format on

TEST_F(Send_test, asks_five_times_and_gives_up_when_the_peer_stays_silent)
{
    send(15, a_);
    pass(1);
    for (int attempt = 1; attempt <= 5; ++attempt) {
        EXPECT_EQ(sent(), Frames{"EC00>80 10 0F 00 03 FF CA FE 00"});
        pass(1254);
        EXPECT_EQ(sent(), Frames{});
        EXPECT_EQ(ended(), "");
        pass(1);
        ASSERT_FALSE(sent_.empty());
        EXPECT_EQ(sent_.front(), "EC00>80 FF 03 FF FF FF CA FE 00");
        sent_.erase(sent_.begin());
    }
    EXPECT_EQ(sent(), Frames{});
    EXPECT_EQ(ended(), "-");
}

TEST_F(Send_test, a_hold_lasts_1055_ms_and_each_repetition_begins_it_again)
{
    send(15, a_);
    pass(1);
    sent();
    for (int repetition = 0; repetition < 3; ++repetition) {
        cm(a_, "11 00 01 FF FF CA FE 00");
        pass(1054);
        EXPECT_EQ(sent(), Frames{});
    }
    cm(a_, "11 01 01 FF FF CA FE 00");
    EXPECT_EQ(sent(), Frames{"EB00>80 01 01 02 03 04 05 06 07"});
    cm(a_, "11 00 02 FF FF CA FE 00");
    pass(1055);
    EXPECT_EQ(sent().front(), "EC00>80 FF 03 FF FF FF CA FE 00");
}

TEST_F(Send_test, begins_again_when_the_confirmation_differs_or_the_peer_aborts_and_each_costs_a_try)
{
    limits_.tx_try_count_maximum = 3;
    const Frames request{"EC00>80 10 0F 00 03 FF CA FE 00"};
    send(15, a_);
    pass(1);
    EXPECT_EQ(sent(), request);
    cm(a_, "13 0E 00 03 FF CA FE 00");
    EXPECT_EQ(sent(), request);
    cm(a_, "FF 01 FF FF FF CA FE 00");
    EXPECT_EQ(sent(), Frames{}); // not before the tick
    pass(1);
    EXPECT_EQ(sent(), request);
    cm(a_, "13 0F 00 02 FF CA FE 00");
    EXPECT_EQ(sent(), Frames{});
    EXPECT_EQ(ended(), "-");
}

TEST_F(Send_test, the_extended_protocol_carries_1786_bytes)
{
    send(1786, a_);
    pass(1);
    EXPECT_EQ(sent(), Frames{"C800>80 14 FA 06 00 00 CA FE 00"});
    extended_cm(a_, "15 01 00 01 00 CA FE 00"); // the last one, 256
    EXPECT_EQ(sent(), (Frames{"C800>80 16 01 FF 00 00 CA FE 00", "C700>80 01 FA FF FF FF FF FF FF"}));
    extended_cm(a_, "17 FA 06 00 00 CA FE 00");
    EXPECT_EQ(ended(), "+");
}

TEST_F(Send_test, a_broadcast_of_1785_bytes_sends_255_packets_51_ms_apart_and_needs_no_answer)
{
    send(1785, nullptr);
    pass(1);
    EXPECT_EQ(sent(), Frames{"EC00>FF 20 F9 06 FF FF CA FE 00"});
    for (std::uint32_t packet = 1; packet <= 255; ++packet) {
        pass(50);
        ASSERT_EQ(sent(), Frames{});
        EXPECT_EQ(ended(), "");
        pass(1);
        const auto frames = sent();
        ASSERT_EQ(frames.size(), 1U);
        EXPECT_EQ(frames[0].substr(0, 10), number("EB00>FF %02X", packet));
    }
    EXPECT_EQ(ended(), "+");
}

TEST_F(Send_test, one_message_runs_at_a_time_and_the_next_waits_for_its_end)
{
    send(15, a_);
    send(9, nullptr);
    pass(1);
    EXPECT_EQ(sent(), Frames{"EC00>80 10 0F 00 03 FF CA FE 00"});
    cm(a_, "11 03 01 FF FF CA FE 00");
    pass(51);
    sent();
    cm(a_, "13 0F 00 03 FF CA FE 00");
    EXPECT_EQ(sent(), Frames{});
    pass(1);
    EXPECT_EQ(sent(), Frames{"EC00>FF 20 09 00 02 FF CA FE 00"});
}

TEST_F(Send_test, refuses_what_no_protocol_carries_and_a_queue_without_end)
{
    const auto offer = [this](std::uint32_t payload, std::uint32_t size, const Peer& peer) {
        return manager_->send(nullptr, 0xFECA, std::make_unique<Byte_array>(counting(payload)), size, peer);
    };
    EXPECT_FALSE(manager_->send(nullptr, 0xFECA, nullptr, 9, a_));
    EXPECT_FALSE(offer(0, 0, a_));
    EXPECT_FALSE(offer(9, 10, a_)); // would be read behind its end
    EXPECT_FALSE(offer(1786, 1786, nullptr));
    for (std::size_t count = 0; count < manager::Manager::sends_maximum; ++count) {
        ASSERT_TRUE(offer(9, 9, a_));
    }
    EXPECT_FALSE(offer(9, 9, a_));
}

/// Supplies twice the payload's bytes; refuses to from `limit` on.
class Doubling_supplier final : public data_supplier::Data_supplier {
public:
    using Data_supplier::Data_supplier;
    bool get(std::span<std::uint8_t> view, const Byte_array& payload, std::uint32_t offset) override
    {
        asked.push_back(offset);
        if (offset + view.size() > limit || !Data_supplier::get(view, payload, offset)) {
            return false;
        }
        for (auto& byte : view) {
            byte = static_cast<std::uint8_t>(2 * byte);
        }
        return true;
    }
    std::uint32_t limit = 1000;
    std::vector<std::uint32_t> asked; ///< offsets
};

TEST_F(Send_test, a_supplier_that_fails_aborts_the_attempt_and_the_next_one_begins)
{
    const auto supplier = std::make_shared<Doubling_supplier>();
    supplier->limit = 8;
    send(15, a_, supplier);
    pass(1);
    sent();
    cm(a_, "11 03 01 FF FF CA FE 00");
    EXPECT_EQ(sent(), (Frames{"EB00>80 01 02 04 06 08 0A 0C 0E", "EC00>80 FF 02 FF FF FF CA FE 00",
                              "EC00>80 10 0F 00 03 FF CA FE 00"}));
}

TEST(Data_supplier_test, gives_again_from_its_ring_what_was_supplied_last)
{
    Doubling_supplier supplier(10);
    const Byte_array payload(counting(30));
    const auto read = [&](std::uint32_t offset, std::size_t size) {
        std::vector<std::uint8_t> view(size);
        supplier.asked.clear();
        EXPECT_TRUE(supplier.read(view, payload, offset));
        return hex(view);
    };
    EXPECT_EQ(read(0, 7), "02 04 06 08 0A 0C 0E");
    EXPECT_EQ(read(7, 7), "10 12 14 16 18 1A 1C"); // the ring holds 4 to 13
    EXPECT_EQ(read(5, 7), "0C 0E 10 12 14 16 18");
    EXPECT_TRUE(supplier.asked.empty());
    EXPECT_EQ(read(10, 7), "16 18 1A 1C 1E 20 22"); // in part
    EXPECT_EQ(supplier.asked, std::vector<std::uint32_t>{14});
    EXPECT_EQ(read(2, 3), "06 08 0A"); // before the ring: the stream begins anew there
    EXPECT_EQ(supplier.asked, std::vector<std::uint32_t>{2});
    EXPECT_EQ(read(4, 3), "0A 0C 0E");
    EXPECT_EQ(supplier.asked, std::vector<std::uint32_t>{5});
}

TEST(Data_supplier_test, never_reads_behind_the_payload)
{
    data_supplier::Data_supplier supplier;
    const Byte_array payload(counting(10));
    std::vector<std::uint8_t> view(4, 0xEE);
    for (const std::uint32_t offset : {7U, 10U, 11U, 0xFFFFFFFEU}) {
        EXPECT_FALSE(supplier.read(view, payload, offset)) << offset;
    }
    EXPECT_EQ(hex(view), "EE EE EE EE");
    EXPECT_TRUE(supplier.read(view, payload, 6));
    EXPECT_EQ(hex(view), "07 08 09 0A");
}

} // namespace
} // namespace qv::can_bus::tp
