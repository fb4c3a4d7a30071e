#include "can/network/pdu/pdu.h"

#include <tuple>

#include <gtest/gtest.h>

namespace qv::can_bus::pdu {
namespace {

TEST(Pdu_test, splits_an_identifier_into_group_and_addresses_and_joins_them_again)
{
    struct Row {
        std::uint32_t identifier, pgn, destination;
        bool pdu1, global;
    };
    // clang-format off
    for (const auto& row : {
            Row{0x18EEFF80, 0x0EE00, 0xFF, true,  true},
            Row{0x18FEDA80, 0x0FEDA, 0xFE, false, true},
            Row{0x18EA2380, 0x0EA00, 0x23, true,  false},
            Row{0x19F80180, 0x1F801, 0xFE, false, true},    // data page
            Row{0x0DEF2180, 0x1EF00, 0x21, true,  false},   // data page of a PDU1
            Row{0x18F00080, 0x0F000, 0xFE, false, true}}) { // the first PDU2
        // clang-format on
        SCOPED_TRACE(row.identifier);
        const PDU pdu(row.identifier, Byte_array{});
        EXPECT_EQ(std::tuple(pdu.pgn, pdu.source_address, pdu.destination_address, pdu.pdu1, pdu.global),
                  std::tuple(row.pgn, 0x80U, row.destination, row.pdu1, row.global));
        EXPECT_EQ(identifier(row.identifier >> 26, row.pgn, row.destination, 0x80), row.identifier);
    }
}

TEST(Pdu_test, its_text_shows_a_destination_only_for_a_pdu1)
{
    EXPECT_EQ(text(PDU(0x18EA2380, Byte_array{0x00, 0xEE, 0x00})), "0ea00  80->23  3 00 ee 00  .\xEE.");
    EXPECT_EQ(text(PDU(0x18FEDA05, Byte_array{0x01, 0x41, 0x2A})), "0feda  05      3 01 41 2a  .A*");
    EXPECT_EQ(text(PDU(0x18FEDA05, Byte_array{})), "0feda  05      0   ");
}

} // namespace
} // namespace qv::can_bus::pdu
