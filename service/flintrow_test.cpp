#include "can/network/bus_message.h"
#include "service/service_test_kit.h"

namespace qv::can_bus::flr {
namespace {

using testing::HasSubstr;

class Flintrow_test : public Service_test {};

TEST_F(Flintrow_test, claims_an_address_with_its_serial_number)
{
    create({});
    pass(1);
    pass(270);
    EXPECT_EQ(sent(), (Texts{"18EAFFFE 00 EE 00", "18EEFFF9 40 E2 FA 12 00 81 00 81"}));
    auto* list = config::primary_configuration_pointer();
    EXPECT_EQ(list->get_decimal(list->find_object("Flintrow/ecu/name", false), "serial_number", 0, false), 1U);
    EXPECT_EQ(bus_->first_ecu()->properties().part_number, "P-1");
}

TEST_F(Flintrow_test, programs_the_ecu_that_the_file_fits)
{
    start({"-vw", image_file(8), "-e"});
    const auto files = flintrow_->catalogue.contents();
    const_cast<HexParser&>(*files->hex_updates.at(0)).ecu_info = {{"ECU P/N", {"P-80"}}};
    receive(ecu_claim);
    tell_software();
    tick(3);
    EXPECT_EQ(session().state, State::BL_TARGET_SEARCH) << "its part number is not known yet";
    receive("18FDC580 50 2D 38 30 2A 2A"); // "P-80**"
    said();
    tick();
    EXPECT_EQ(said(), "Match found!\r\nECU target found\r\n");
    tick(3);
    EXPECT_EQ(sent().back(), "18D980F9 01 0D 00 09 00 00 00 00");
}

TEST_F(Flintrow_test, asks_each_new_ecu_who_it_is)
{
    start({"-v"});
    receive(ecu_claim);
    receive(ecu_claim);
    EXPECT_EQ(sent(), (Texts{"18EA80F9 DA FE 00", "18EA80F9 C5 FD 00"}));
    EXPECT_THAT(said(), HasSubstr("_Observer::address_claim : \t[0x80] a0008600 12e00001\r\n"));
    flintrow_->clear_ecu_list();
    drain();
    EXPECT_EQ(sent().at(0), "18EAFFF9 00 EE 00");
    EXPECT_EQ(flintrow_->inventory.find_ecu_by_address(0x80), nullptr);
}

TEST_F(Flintrow_test, an_ecu_that_took_the_address_of_another_does_not_speak_for_it)
{
    start();
    const auto part_number_after = [this](const std::string& identification) {
        receive(identification);
        return flintrow_->inventory.find_ecu_by_address(0x80)->part_number;
    };
    receive(ecu_claim);
    EXPECT_EQ(part_number_after("18FDC580 50 2D 38 30 2A 2A"), "P-80");
    receive("18EEFF80 01 00 00 00 00 00 00 00"); // of the lower NAME
    EXPECT_EQ(part_number_after("18FDC580 51 2D 38 30 2A 2A"), "Q-80") << "perhaps the bootloader of the same ECU";
    receive("18EEFF81 01 00 E0 12 00 86 00 A0"); // it has moved
    EXPECT_EQ(part_number_after("18FDC580 52 2D 38 30 2A 2A"), "Q-80");
    tell_software();
    EXPECT_TRUE(flintrow_->inventory.find_ecu_by_address(0x80)->hidden);
    const std::string report = "11*a*node*b*c*d";
    testing::internal::CaptureStderr();
    flintrow_->inventory.gateway_reported(0x80, std::vector<std::uint8_t>(report.begin(), report.end()));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(flintrow_->inventory.find_ecu_by_address(0x80)->host, "");
}

TEST_F(Flintrow_test, takes_no_claim_that_the_bus_did_not_take_over)
{
    start();
    receive(ecu_claim);
    flintrow_->clear_ecu_list();
    receive("18EEF980 01 00 E0 12 00 86 00 A0"); // not to all
    EXPECT_EQ(flintrow_->inventory.find_ecu_by_address(0x80), nullptr);
    for (name::Name number = 0; bus_->nodes().nodes().size() < 1024; ++number) {
        bus_->create_node(0xA000990012E00000 + number);
    }
    receive("18EEFF90 01 00 E0 12 00 99 00 80"); // the bus has no room for its NAME
    EXPECT_EQ(flintrow_->inventory.find_ecu_by_address(0x90), nullptr);
    receive("18EEFF90 01 00 E0 12 00 99 00 A0");
    EXPECT_NE(flintrow_->inventory.find_ecu_by_address(0x90), nullptr);
}

TEST_F(Flintrow_test, falls_silent_when_its_ecu_is_deleted)
{
    start({"-w", "/nowhere/at/all"});
    bus_dispatcher_->post(std::make_unique<bus::message::ECU_delete>(own_name));
    drain();
    receive(ecu_claim);
    tick(3);
    EXPECT_EQ(said(), "");
    EXPECT_TRUE(sent().empty());
}

} // namespace
} // namespace qv::can_bus::flr
