#include "can/network/pdu/request_processor.h"

#include <gtest/gtest.h>

#include "can/network/pdu/pdu.h"
#include "comm/master.h"

namespace qv::can_bus::pdu::request_processor {
namespace {

class Nobody final : public source_address::Selector {
    bool accepts(std::uint32_t) const override { return false; }
};

class Responder final : public comm::observer::Observer_dispatcher_id {
public:
    using Observer_dispatcher_id::Observer_dispatcher_id;
    void subscribe() override { add(pgn::ecu_identification, &Responder::on_request); }
    void unsubscribe() override { remove(pgn::ecu_identification); }
    void on_request(comm::message::Message&) { ++answers; }
    std::size_t answers = 0;
};

TEST(Request_processor_test, passes_requests_of_three_bytes_on_under_the_requested_group)
{
    ASSERT_TRUE(comm::core_start(0));
    const auto pdus = comm::create_dispatcher("pdu", false);
    const auto processor = Request_processor::create(pdus->id(), "request");
    EXPECT_FALSE(Request_processor::create(pdus->id(), "request")); // the name is taken
    const auto responder = std::make_shared<Responder>(processor->request_dispatcher_id());
    comm::observer::Observer_list observers;
    observers.add(processor);
    observers.add(responder);
    const auto answers = [&](std::initializer_list<std::uint8_t> bytes) {
        PDU pdu(0x18EA2380, Byte_array(bytes));
        pdus->notify(pdu);
        return std::exchange(responder->answers, 0);
    };
    EXPECT_EQ(answers({0xC5, 0xFD, 0x00}), 1U);
    EXPECT_EQ(answers({0xC5, 0xFD}), 0U);
    EXPECT_EQ(answers({0xC5, 0xFD, 0x00, 0x00}), 0U);
    EXPECT_EQ(answers({0xC5, 0xFD, 0x04}), 0U); // no group has 19 bits
    EXPECT_EQ(answers({0xDA, 0xFE, 0x00}), 0U); // nobody subscribed
    processor->set_selector(std::make_unique<Nobody>());
    EXPECT_EQ(answers({0xC5, 0xFD, 0x00}), 0U);
    observers.clear();
    comm::remove_dispatcher(pdus);
    comm::master_stop();
}

} // namespace
} // namespace qv::can_bus::pdu::request_processor
