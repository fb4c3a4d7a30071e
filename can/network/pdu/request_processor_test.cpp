#include "can/network/pdu/request_processor.h"

#include "can/network/pdu/pdu.h"
#include "comm/test_kit.h"

namespace qv::can_bus::pdu::request_processor {
namespace {

class Nobody final : public source_address::Selector {
    bool accepts(std::uint32_t) const override { return false; }
};

using Request_processor_test = comm::test::Core_test;

TEST_F(Request_processor_test, passes_requests_of_three_bytes_on_under_the_requested_group)
{
    const auto pdus = comm::create_dispatcher("pdu", false);
    const auto processor = Request_processor::create(pdus->id(), "request");
    EXPECT_FALSE(Request_processor::create(pdus->id(), "request")); // the name is taken
    std::size_t heard = 0;
    ears_.add(processor);
    for (const comm::message::Id id : {pgn::ecu_identification, 0x4FDC5U}) {
        ears_.add(
            std::make_shared<comm::test::Ear>(processor->request_dispatcher_id(), id, [&](auto&) { ++heard; }));
    }
    const auto passes = [&](std::initializer_list<std::uint8_t> bytes) {
        PDU pdu(0x18EA2380, Byte_array(bytes));
        pdus->notify(pdu);
        return std::exchange(heard, 0) == 1;
    };
    EXPECT_TRUE(passes({0xC5, 0xFD, 0x00}));
    EXPECT_FALSE(passes({0xC5, 0xFD}) || passes({0xC5, 0xFD, 0x00, 0x00}) || passes({0xDA, 0xFE, 0x00}));
    EXPECT_FALSE(passes({0xC5, 0xFD, 0x04})); // no group has 19 bits
    processor->set_selector(std::make_unique<Nobody>());
    EXPECT_FALSE(passes({0xC5, 0xFD, 0x00}));
    ears_.clear();
}

} // namespace
} // namespace qv::can_bus::pdu::request_processor
