#include "can/network/pdu/request_processor.h"

#include <vector>

#include <gtest/gtest.h>

#include "can/network/pdu/pdu.h"
#include "comm/master.h"

namespace qv::can_bus::pdu::request_processor {
namespace {

/// Answers requests for ECU identification: notes who asked, and for what.
class Responder final : public comm::observer::Observer_dispatcher_id {
public:
    using Observer_dispatcher_id::Observer_dispatcher_id;
    void subscribe() override { add(pgn::ecu_identification, &Responder::on_request); }
    void unsubscribe() override { remove(pgn::ecu_identification); }
    std::vector<std::uint32_t> askers;

private:
    void on_request(comm::message::Message& message)
    {
        askers.push_back(dynamic_cast<const PDU&>(message).source_address);
    }
};

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
        responder_.reset();
        processor_.reset();
        comm::remove_dispatcher(pdus_);
        comm::master_stop();
    }
    void request(std::initializer_list<std::uint8_t> bytes)
    {
        PDU pdu(0x18EA2380, Byte_array(bytes));
        pdus_->notify(pdu);
    }

    std::shared_ptr<comm::Dispatcher> pdus_;
    std::shared_ptr<Request_processor> processor_;
    std::shared_ptr<Responder> responder_;
    comm::observer::Observer_list observers_;
};

TEST_F(Request_processor_test, passes_a_request_on_under_the_requested_group)
{
    request({0xC5, 0xFD, 0x00});
    EXPECT_EQ(responder_->askers, std::vector<std::uint32_t>{0x80});
}

TEST_F(Request_processor_test, ignores_what_is_no_request_of_three_bytes_and_what_nobody_answers)
{
    request({});
    request({0xC5, 0xFD});
    request({0xC5, 0xFD, 0x00, 0x00});
    request({0xC5, 0xFD, 0x04}); // no group has 19 bits
    request({0xDA, 0xFE, 0x00});
    EXPECT_TRUE(responder_->askers.empty());
}

TEST_F(Request_processor_test, answers_nobody_whom_its_selector_refuses)
{
    processor_->set_selector(std::make_unique<Nobody>());
    request({0xC5, 0xFD, 0x00});
    EXPECT_TRUE(responder_->askers.empty());
}

TEST_F(Request_processor_test, is_not_made_twice_under_one_name_and_frees_the_name_with_its_end)
{
    EXPECT_FALSE(Request_processor::create(pdus_->id(), "request"));
    observers_.clear();
    processor_.reset();
    EXPECT_TRUE(Request_processor::create(pdus_->id(), "request"));
}

} // namespace
} // namespace qv::can_bus::pdu::request_processor
