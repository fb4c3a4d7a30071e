#include "can/network/annotation.h"

#include <gtest/gtest.h>

#include "can/network/node/test_kit.h"

namespace qv::can_bus::pdu {
namespace {

PDU from_wire(std::uint32_t pgn, std::span<const std::uint8_t> bytes)
{
    return {identifier(6, pgn, 0x26, 0x80), Byte_array(bytes)};
}

/// A message of just the bytes that its annotation needs.
struct Row {
    std::uint32_t pgn;
    const char* bytes;
    std::string head; ///< what any shorter message tells
    std::string rest;
};

void PrintTo(const Row& row, std::ostream* stream) { *stream << row.bytes; }

class Annotation_test : public testing::TestWithParam<Row> {};

TEST_P(Annotation_test, tells_what_the_bytes_mean_and_of_a_message_cut_short_its_kind)
{
    const auto& row = GetParam();
    const Byte_array whole = test::hex(row.bytes);
    EXPECT_EQ(annotation(from_wire(row.pgn, {})), "");
    for (std::uint32_t length = 1; length < whole.size(); ++length) {
        EXPECT_EQ(annotation(from_wire(row.pgn, whole.bytes().first(length))), row.head) << length;
    }
    EXPECT_EQ(annotation(from_wire(row.pgn, whole.bytes())), row.head + row.rest);
    EXPECT_EQ(annotation(from_wire(row.pgn + 0x10000, whole.bytes())), ""); // another data page
}

constexpr std::uint32_t claim = 0xEE00;
constexpr std::uint32_t master = 0xFE0D;
constexpr std::uint32_t from_vt = 0xE600;
constexpr std::uint32_t to_vt = 0xE700;
constexpr std::uint32_t process = 0xCB00;

// clang-format off
INSTANTIATE_TEST_SUITE_P(Names, Annotation_test, testing::Values(
    Row{claim, "45 23 21 00 1A 82 0C 20", "address claimed",
        "  manufacturer Bendix Commercial Vehicle Systems LLC (formerly Allied Signal Inc.) (1)"
        "  industry group agriculture/forestry (2)  device class sprayer (6)"
        "  function product pressure (130)  function instance 3  ecu instance 2  id 74565"},
    Row{claim, "FF FF FF FF FF FF FF FF", "address claimed",
        "  manufacturer  (2047)  industry group industry group unknown (7)  device class device class unknown"
        " (127)  function  (255)  function instance 31  ecu instance 7  id 2097151"},
    Row{master, "03", "", "working set master  3 member (incl. master)"}));

INSTANTIATE_TEST_SUITE_P(Terminal, Annotation_test, testing::Values(
    Row{from_vt, "FE", "", "vt to ecu  vt status"},
    Row{from_vt, "A8", "", "vt to ecu  change numeric value response"},
    Row{from_vt, "0A", "", "vt to ecu  vt control audio signal termination"},
    Row{to_vt, "0A", "", "ecu to vt  "}, // only the terminal sends it
    Row{to_vt, "FF", "", "ecu to vt  working set maintenance"},
    Row{to_vt, "A8 34 12 FF 78 56 34 F2", "ecu to vt  change numeric value", "  id 4660  value 4063516280"},
    Row{to_vt, "B3 34 12 00 00", "ecu to vt  change string value", "  id 4660  value "},
    Row{to_vt, "B3 34 12 06 00 41 0A 00 25 73 42", "ecu to vt  change string value", "  id 4660  value A..%sB"}));

const std::string start = "process data ";
const std::string description = "process data device description ";
const std::string value_2 = "  element number 1  ddi 0001  value 2";
INSTANTIATE_TEST_SUITE_P(Task_controller, Annotation_test, testing::Values(
    Row{process, "00", "", "process data technical data version request"},
    Row{process, "10 04", "process data technical data ", "version 4"},
    Row{process, "30", "", "process data technical data identify tc response"},
    Row{process, "40", "", "process data technical data "},
    Row{process, "01", "", description + "structure label request "},
    Row{process, "51 00", description + "object pool transfer request response  ", "memory may be available"},
    Row{process, "51 01", description + "object pool transfer request response  ", "memory is not available"},
    Row{process, "D1", "", description + "change designator response"}, // the last that has a name
    Row{process, "E1", "", description},
    Row{process, "32 12 8D 00 FF FF FF FF", start, "value request  element number 291  ddi 008d  value -1"},
    Row{process, "33 12 A1 00 55 15 00 80", start,
        "value  element number 291  ddi 00a1  work state condensed 80001555"},
    Row{process, "04 00 01 00 00 00 00 80", start,
        "measurement time  element number 0  ddi 0001  value -2147483648"},
    Row{process, "F5 FF FE DF 01 00 00 00", start, "measurement distance  element number 4095  ddi dffe  value 1"},
    Row{process, "16 00 01 00 02 00 00 00", start, "measurement threshold minimum" + value_2},
    Row{process, "17 00 01 00 02 00 00 00", start, "measurement threshold maximum" + value_2},
    Row{process, "18 00 01 00 02 00 00 00", start, "measurement threshold change" + value_2},
    Row{process, "09 00", start, ""},
    Row{process, "1A 00 01 00 02 00 00 00", start, "value and acknowledge" + value_2},
    Row{process, "0B 00", start, ""},
    Row{process, "1D 00 01 00 1F F4", start,
        "acknowledge  element number 1  ddi 0001  error code 1f  command measurement time"},
    Row{process, "FE FF FF FF 01", start, "tc status 1"},
    Row{process, "FF FF FF FF 01 00 00 80", start, "client task 2147483649"}));
// clang-format on

TEST(Annotation_test, a_label_is_told_as_far_as_it_goes_and_what_fills_up_a_frame_does_not_count)
{
    const Row rows[] = {
        {process, "11", description, "structure label "},
        {process, "11 30", description, "structure label 30"},
        {process, "11 30 31 FF", description, "structure label 3031ff"},
        {process, "31 65 6E", description, "localization label 656e"},
        {to_vt, "B3 01 00 01 00 41 FF FF", "ecu to vt  ", "change string value  id 1  value A"},
        {master, "01 FF FF FF FF FF FF FF", "working set master  ", "1 member (incl. master)"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(annotation(from_wire(row.pgn, test::hex(row.bytes).bytes())), row.head + row.rest);
    }
}

} // namespace
} // namespace qv::can_bus::pdu
