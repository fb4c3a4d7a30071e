#include "can/network/tp/rx_bam_manager.h"

#include "can/network/tp/transport_fixture.h"

namespace qv::can_bus::tp::rx::bam {
namespace {

class Broadcast_test : public Transport_test {
protected:
    void SetUp() override
    {
        Transport_test::SetUp();
        manager_ = std::make_shared<manager::Manager>(pdu_dispatcher_->id(), bus_dispatcher_->id());
        observers_.add(manager_);
    }
    void announce(const Peer& sender, const std::string& bytes) { frame(sender, 0xEC00, bytes, 0xFF); }
    void packet(const Peer& sender, const std::string& bytes) { frame(sender, 0xEB00, bytes, 0xFF); }
    void whole_message(const Peer& sender)
    {
        packet(sender, "01 01 02 03 04 05 06 07");
        packet(sender, "02 08 09 FF FF FF FF FF");
    }

    std::shared_ptr<manager::Manager> manager_;
};

const char* const nine_bytes = "20 09 00 02 FF CA FE 00";

TEST_F(Broadcast_test, is_delivered_with_its_last_packet)
{
    announce(a_, nine_bytes);
    whole_message(a_);
    EXPECT_EQ(heard(), Frames{"FECA 80>FE global 01 02 03 04 05 06 07 08 09"});
    announce(b_, "20 09 00 02 FF 00 EF 00"); // a group that has a destination
    whole_message(b_);
    EXPECT_EQ(heard(), Frames{"EF00 81>FF global 01 02 03 04 05 06 07 08 09"});
}

class Bad_announcement_test : public Broadcast_test, public testing::WithParamInterface<const char*> {};

TEST_P(Bad_announcement_test, is_ignored)
{
    announce(a_, GetParam());
    whole_message(a_);
    EXPECT_EQ(heard(), Frames{});
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, Bad_announcement_test, testing::Values(
    "20 08 00 02 FF CA FE 00",  // 8 bytes
    "20 FA 06 00 FF CA FE 00",  // 1786 bytes
    "20 09 00 03 FF CA FE 00",  // one packet too many
    "20 09 00 02 FF CA FE",     // a short frame
    "20 09 00 02 FF 02 00 04",  // a group of 19 bits
    "10 09 00 02 FF CA FE 00",  // an RTS
    "20"));
// clang-format on

TEST_F(Broadcast_test, announced_or_sent_to_one_node_or_by_a_stranger_is_none)
{
    frame(a_, 0xEC00, nine_bytes, 0x21);
    announce(nullptr, nine_bytes);
    whole_message(a_);
    whole_message(nullptr);
    announce(a_, nine_bytes);
    frame(a_, 0xEB00, "01 01 02 03 04 05 06 07", 0x21);
    packet(b_, "01 01 02 03 04 05 06 07");
    packet(a_, "02 08 09 FF FF FF FF FF");
    EXPECT_EQ(heard(), Frames{});
}

TEST_F(Broadcast_test, disappears_755_ms_after_its_last_packet)
{
    announce(a_, nine_bytes);
    pass(754);
    packet(a_, "01 01 02 03 04 05 06 07");
    pass(754);
    packet(a_, "02 08 09 FF FF FF FF FF");
    EXPECT_EQ(heard().size(), 1U);
    announce(a_, nine_bytes);
    packet(a_, "01 01 02 03 04 05 06 07");
    pass(755);
    packet(a_, "02 08 09 FF FF FF FF FF");
    EXPECT_EQ(heard(), Frames{});
}

TEST_F(Broadcast_test, with_a_packet_twice_never_ends_well)
{
    announce(a_, nine_bytes);
    packet(a_, "00 01 02 03 04 05 06 07"); // no sequence number of a message: ignored
    packet(a_, "03 01 02 03 04 05 06 07"); // behind its end
    packet(a_, "01 01 02 03 04 05 06 07");
    packet(a_, "01 01 02 03 04 05 06 07");
    packet(a_, "02 08 09 FF FF FF FF FF");
    EXPECT_EQ(heard(), Frames{});
}

TEST_F(Broadcast_test, announced_behind_another_waits_until_that_one_ends)
{
    announce(a_, "20 10 00 03 FF DA FE 00");
    announce(a_, nine_bytes);
    whole_message(a_);
    EXPECT_EQ(heard(), Frames{});
    packet(a_, "03 0F 10 FF FF FF FF FF");
    EXPECT_EQ(heard().at(0).substr(0, 4), "FEDA");
    whole_message(a_);
    EXPECT_EQ(heard().at(0).substr(0, 4), "FECA");
}

TEST_F(Broadcast_test, announced_without_end_is_bounded_for_each_sender_and_in_all)
{
    const auto messages_of = [this](const Peer& sender) {
        for (std::size_t count = 0; count < manager::Manager::sessions_per_sender_maximum + 5; ++count) {
            announce(sender, nine_bytes);
        }
        return [this, sender] {
            for (std::size_t count = 0; count < manager::Manager::sessions_per_sender_maximum + 5; ++count) {
                whole_message(sender);
            }
            return heard().size();
        };
    };
    EXPECT_EQ(messages_of(a_)(), manager::Manager::sessions_per_sender_maximum);
    std::vector<Peer> strangers;
    for (std::size_t count = 0; count < manager::Manager::sessions_maximum; ++count) {
        strangers.push_back(peer(0x90));
        announce(strangers.back(), nine_bytes);
    }
    EXPECT_EQ(messages_of(b_)(), 0U);
    pass(755);
    EXPECT_EQ(messages_of(b_)(), manager::Manager::sessions_per_sender_maximum);
}

} // namespace
} // namespace qv::can_bus::tp::rx::bam
