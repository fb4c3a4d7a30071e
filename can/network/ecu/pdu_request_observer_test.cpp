#include "can/network/ecu/pdu_request_observer.h"

#include "can/network/ecu/ecu_kit.h"
#include "can/network/ecu/identification.h"

namespace qv::can_bus::ecu {
namespace {

using namespace test;

/// The ECU at 0x81 has one letter for each of its properties; a peer is at 0x80, nobody known at 0x77.
class Request_test : public test::Ecu_test {
protected:
    void SetUp() override
    {
        properties_.brand = "B";
        properties_.code = "C";
        properties_.hardware_version = "H";
        properties_.location = "L";
        properties_.manufacturer_name = "M";
        properties_.model_name = "N";
        properties_.part_number = "P";
        properties_.type = "T";
        Ecu_test::SetUp();
        claim(0x80, higher_name);
        hold(0x81);
    }
    /// What is sent while a peer would wait for the rest, and a broadcast of two packets ends.
    Texts answers_to(const std::string& request)
    {
        receive(request);
        test::Network_test::pass_each({4, 51, 51});
        return sent();
    }
};

struct Answer {
    const char* what;
    std::string group;      ///< as it stands in the request
    Texts to_peer;          ///< when 0x80 asks the ECU
    Texts to_all = to_peer; ///< when 0x80 asks all
};

class Answer_test : public Request_test, public testing::WithParamInterface<Answer> {};

TEST_P(Answer_test, goes_to_the_peer_or_to_all)
{
    const auto& [what, group, to_peer, to_all] = GetParam();
    EXPECT_EQ(answers_to("18EA8180 " + group), to_peer);
    create_ecu(); // no session of the first answer is left
    hold(0x81);
    EXPECT_EQ(answers_to("18EAFF80 " + group), to_all);
}

TEST_P(Answer_test, is_not_given_to_a_request_of_wrong_length_for_another_or_for_no_group)
{
    const std::string& group = GetParam().group;
    const std::string to_it = "18EA8180 ";
    for (const auto& request : {to_it, to_it + group.substr(0, 5), to_it + group.substr(0, 6) + "01",
                                to_it + group.substr(0, 6) + "04", to_it + group + " 00", "18EA8280 " + group}) {
        EXPECT_EQ(answers_to(request), Texts{}) << request;
    }
}

TEST_P(Answer_test, is_not_given_while_no_address_is_held)
{
    create_ecu();
    EXPECT_EQ(answers_to("18EAFF80 " + GetParam().group), Texts{});
    start_claim(0x81);
    pass(1);
    sent(); // its own request
    EXPECT_EQ(answers_to("18EAFF80 " + GetParam().group), Texts{});
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(, Answer_test, testing::Values(
    Answer{"address_claimed", "00 EE 00", {"18EEFF81 07 00 E0 12 00 81 00 A0"}},
    Answer{"functionalities", "8E FC 00", {"18FC8E81 FF 00 FF FF FF FF FF FF"}},
    Answer{"component", "EB FE 00", {"18FEEB81 2A 4E 2A 37 2A 50 2A"}}, // *N*7*P*
    Answer{"diagnostic_protocol", "32 FD 00", {"18FD3281 00 FF FF FF FF FF FF FF"}},
    Answer{"trouble_codes_active", "CA FE 00", {"18FECA81 FF FF 00 00 00 00"}},
    Answer{"trouble_codes_previous_active", "CB FE 00", {"18FECB81 FF FF 00 00 00 00"}},
    Answer{"trouble_codes_reset", "CC FE 00",
           {"18E88081 00 FF FF FF 80 CC FE 00"}, {"18E8FF81 00 FF FF FF 80 CC FE 00"}},
    Answer{"ecu", "C5 FD 00", {"18EC8081 10 0C 00 02 FF C5 FD 00"}, // P*7*L*T*M*H*
           {"18ECFF81 20 0C 00 02 FF C5 FD 00", "18EBFF81 01 50 2A 37 2A 4C 2A 54",
            "18EBFF81 02 2A 4D 2A 48 2A FF FF"}},
    Answer{"compliance_certification", "42 FD 00", {"18FD4281 D0 06 00 00 00 80 FF FF"}},
    Answer{"product", "8D FC 00", {"18FC8D81 43 2A 42 2A 4E 2A"}}, // C*B*N*
    Answer{"software", "DA FE 00", {}},
    Answer{"working_set_master", "0D FE 00", {"1CFE0D81 01 FF FF FF FF FF FF FF"}}),
    [](const auto& row) { return std::string(row.param.what); });
// clang-format on

TEST_F(Request_test, answers_all_for_a_stranger_and_the_master_for_a_member)
{
    EXPECT_EQ(answers_to("18EA8177 CC FE 00"), Texts{"18E8FF81 00 FF FF FF 77 CC FE 00"});
    EXPECT_EQ(answers_to("18EA8177 C5 FD 00").front(), "18ECFF81 20 0C 00 02 FF C5 FD 00");
    claim(0x82, lower_name);
    nodes_.find_by_name(lower_name)->pdu_source = nodes_.find_by_name(higher_name);
    EXPECT_EQ(answers_to("18EA8182 CC FE 00"), Texts{"18E88081 00 FF FF FF 82 CC FE 00"}); // names who asked
}

TEST_F(Request_test, sends_a_long_text_by_transport_with_no_more_than_21_bits_of_the_name)
{
    properties_.model_name = "Mendrix";
    create_ecu(0xA0008100FFFFFFFF);
    hold(0x83);
    EXPECT_EQ(answers_to("18EA8380 EB FE 00"), Texts{"18EC8083 10 13 00 03 FF EB FE 00"}); // *Mendrix*2097151*P*
    receive("18EC8380 11 03 01 FF FF EB FE 00");
    EXPECT_EQ(sent(), (Texts{"18EB8083 01 2A 4D 65 6E 64 72 69", "18EB8083 02 78 2A 32 30 39 37 31",
                             "18EB8083 03 35 31 2A 50 2A FF FF"}));
}

TEST_F(Request_test, tells_its_trouble_codes_by_list)
{
    ecu_->trouble_codes().active = {{3, 5, true, 0x12345}};
    // the last one's fields are cut to their width
    ecu_->trouble_codes().previous_active = {{31, 127, false, 0x7FFFF}, {32, 128, false, 0x80001}};
    EXPECT_EQ(answers_to("18EA8180 CA FE 00"), Texts{"18FECA81 FF FF 45 23 23 85"});
    EXPECT_EQ(answers_to("18EAFF80 CB FE 00"),
              (Texts{"18ECFF81 20 0A 00 02 FF CB FE 00", "18EBFF81 01 FF FF FF FF FF 7F 01",
                     "18EBFF81 02 00 00 00 FF FF FF FF"}));
}

TEST_F(Request_test, sends_more_codes_than_a_broadcast_carries_only_to_one_that_asks_by_itself)
{
    ecu_->trouble_codes().active.assign(446, {1, 1, false, 1}); // 1786 bytes
    EXPECT_EQ(answers_to("18EAFF80 CA FE 00"), Texts{});
    EXPECT_EQ(answers_to("18EA8180 CA FE 00"), Texts{"18C88081 14 FA 06 00 00 CA FE 00"});
}

TEST_F(Request_test, clears_what_is_no_longer_active_whoever_asks_and_even_when_it_must_stay_silent)
{
    const auto clears = [this](const std::string& request) {
        ecu_->trouble_codes().active = {{1, 1, false, 1}};
        ecu_->trouble_codes().previous_active = {{2, 2, false, 2}};
        receive(request);
        EXPECT_EQ(ecu_->trouble_codes().active.size(), 1U) << request;
        return ecu_->trouble_codes().previous_active.empty();
    };
    EXPECT_TRUE(clears("18EA8180 CC FE 00") && clears("18EAFF77 CC FE 00"));
    EXPECT_FALSE(clears("18EA8180 CC FE") || clears("18EA8280 CC FE 00"));
    create_ecu();
    EXPECT_TRUE(clears("18EAFF80 CC FE 00"));
}

TEST_F(Request_test, asks_the_application_for_its_software)
{
    using message::software_identification::Request;
    std::vector<std::uint32_t> askers;
    listen(ecu_->dispatcher(), {Request::id}, [&](auto& message) {
        const auto& request = dynamic_cast<Request&>(message);
        EXPECT_EQ(request.ecu, ecu_);
        askers.push_back(request.requester ? request.requester->source_address : 255);
    });
    receive_each({"18EA8180 DA FE 00", "18EAFF80 DA FE 00", "18EA8177 DA FE 00", "18EA8180 DA FE"});
    EXPECT_EQ(askers, (std::vector<std::uint32_t>{0x80, 255, 255}));
}

TEST_F(Request_test, tells_functionalities_with_their_options_and_fills_the_frame)
{
    ecu_->functionalities() = {{1, 2, 2, 0x0403}};
    EXPECT_EQ(answers_to("18EA8180 8E FC 00"), Texts{"18FC8E81 FF 01 01 02 02 03 04 FF"});
    ecu_->functionalities() = {{1, 2, 0, 0x0403}, {0x105, 6, 0, 0}};
    EXPECT_EQ(answers_to("18EA8180 8E FC 00"), Texts{"18FC8E81 FF 02 01 02 00 05 06 00"});
    ecu_->functionalities() = {{1, 2, 5, 0x06050403}}; // there are no more than 4 options
    EXPECT_EQ(answers_to("18EAFF80 8E FC 00"),
              (Texts{"18ECFF81 20 09 00 02 FF 8E FC 00", "18EBFF81 01 FF 01 01 02 04 03 04",
                     "18EBFF81 02 05 06 FF FF FF FF FF"}));
    const auto most = encode(Functionality_list(256, Functionality{1, 1, 1, 1}));
    EXPECT_EQ(most.size(), 2U + 255U * 4U);
    EXPECT_EQ(most[1], 255);
}

TEST(Identification_test, puts_each_value_of_the_certification_at_its_place_and_no_more_of_it)
{
    // clang-format off
    const struct { std::uint32_t laboratory, type, reference, revision, year; const char* bytes; } rows[] = {
        {0x405, 1, 0x1234, 0x0A, 2063, "BF AA 80 00 00 80 34 12"},
        {0x3FA, 2, 0xEDCB, 0x15, 2000, "40 55 7F 00 00 80 CB ED"},
        {0x800, 4, 0x10000, 0x20, 2064, "00 00 00 00 00 80 00 00"}};
    // clang-format on
    for (const auto& [laboratory, type, reference, revision, year, bytes] : rows) {
        const properties::Properties properties{.tp = {},
                                                .certification_laboratory_id = laboratory,
                                                .certification_laboratory_type = type,
                                                .certification_reference_number = reference,
                                                .certification_revision = revision,
                                                .certification_year = year};
        EXPECT_EQ(Byte_array(identification::compliance_certification(properties)), test::hex(bytes));
    }
}

} // namespace
} // namespace qv::can_bus::ecu
