#include "can/network/pdu/request_processor.h"

#include <gtest/gtest.h>

#include "can/network/pdu/pdu.h"
#include "comm/master.h"

namespace qv::can_bus::pdu::request_processor {
namespace {

class Nobody final : public source_address::Selector {
    bool accepts(std::uint32_t) const override { return false; }
};

class Request_processor_test : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(comm::core_start(0));
        pdus_ = comm::create_dispatcher("pdu", false);
        processor_ = Request_processor::create(pdus_->id(), "request");
        observers_.add(processor_);
        responder_ = std::make_shared<Responder>(processor_->request_dispatcher_id());
        observers_.add(responder_);
    }
    void TearDown() override
    {
        observers_.clear();
        comm::remove_dispatcher(pdus_);
        comm::master_stop();
    }
    /// How many answers this request gets.
    std::size_t request(std::initializer_list<std::uint8_t> bytes)
    {
        PDU pdu(0x18EA2380, Byte_array(bytes));
        pdus_->notify(pdu);
        return std::exchange(responder_->answers, 0);
    }

    class Responder final : public comm::observer::Observer_dispatcher_id {
    public:
        using Observer_dispatcher_id::Observer_dispatcher_id;
        void subscribe() override { add(pgn::ecu_identification, &Responder::on_request); }
        void unsubscribe() override { remove(pgn::ecu_identification); }
        void on_request(comm::message::Message&) { ++answers; }
        std::size_t answers = 0;
    };

    std::shared_ptr<comm::Dispatcher> pdus_;
    std::shared_ptr<Request_processor> processor_;
    std::shared_ptr<Responder> responder_;
    comm::observer::Observer_list observers_;
};

TEST_F(Request_processor_test, passes_requests_of_three_bytes_on_under_the_requested_group)
{
    EXPECT_EQ(request({0xC5, 0xFD, 0x00}), 1U);
    EXPECT_EQ(request({0xC5, 0xFD}), 0U);
    EXPECT_EQ(request({0xC5, 0xFD, 0x00, 0x00}), 0U);
    EXPECT_EQ(request({0xC5, 0xFD, 0x04}), 0U); // no group has 19 bits
    EXPECT_EQ(request({0xDA, 0xFE, 0x00}), 0U); // nobody subscribed
    processor_->set_selector(std::make_unique<Nobody>());
    EXPECT_EQ(request({0xC5, 0xFD, 0x00}), 0U);
}

TEST_F(Request_processor_test, is_not_made_twice_under_one_name)
{
    EXPECT_FALSE(Request_processor::create(pdus_->id(), "request"));
}

} // namespace
} // namespace qv::can_bus::pdu::request_processor
