#include "can/network/bus_message.h"
#include "service/service_test_kit.h"

namespace qv::can_bus::flr {
namespace {

using testing::HasSubstr;

class Flintrow_test : public Service_test {
protected:
    /// A file for the command line that fits part number "P-80", and the ECU that has it.
    std::string file() { return image_.version("2.0").sector(0, 0, 0xFFF).data({0, 16}).save("flintrow"); }
    void show_ecu()
    {
        for (const auto& parser : flintrow_->inventory.hex_updates) {
            parser->ecu_info = {{"ECU P/N", {"P-80"}}};
        }
        receive(ecu_claim);
        tell_software();
    }
    /// "P-80**", short enough for a frame.
    void tell_part_number() { receive("18FDC580 50 2D 38 30 2A 2A"); }

    Image_file image_;
};

TEST_F(Flintrow_test, runs_only_when_the_configuration_wants_it)
{
    configure("enable", false);
    create({});
    EXPECT_EQ(flintrow_, nullptr);
    pass(600);
    EXPECT_TRUE(sent().empty());
}

TEST_F(Flintrow_test, fills_the_configuration_and_claims_an_address)
{
    create({});
    EXPECT_THAT(said(), HasSubstr("Initailize type 0 progress 0\r\n"));
    pass(1);
    pass(270);
    EXPECT_EQ(sent(), (Texts{"18EAFFFE 00 EE 00", own_claim}));
    EXPECT_TRUE(session().address_claimed);
    auto* list = config::primary_configuration_pointer();
    const auto key = [list](const char* path, const char* name) {
        return list->get_decimal(list->find_object(path, false), name, 0, false);
    };
    EXPECT_EQ(key("Flintrow/ecu", "source_address_preferred"), 249U);
    EXPECT_EQ(key("Flintrow/ecu/name", "serial_number"), 1U);
    EXPECT_EQ(key("Flintrow/ecu/diagnostic/certification", "year"), 2016U);
    EXPECT_EQ(bus_->first_ecu()->properties().part_number, "P-1");
    EXPECT_EQ(bus_->first_ecu()->properties().type, "operator_controls");
    EXPECT_EQ(flintrow_->name(), "Mendrix");
}

TEST_F(Flintrow_test, ends_with_status_1_on_a_wrong_command_line)
{
    testing::internal::CaptureStderr();
    create({"-x"});
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Usage: flintrow [OPTION...]"));
    EXPECT_EQ(exits_, std::vector<int>{1});
}

TEST_F(Flintrow_test, programs_the_ecu_that_the_file_fits)
{
    start({"-vw", file(), "-e"});
    EXPECT_FALSE(flintrow_->options.vt_enabled);
    tick(5);
    EXPECT_EQ(session().state, State::BL_TARGET_SEARCH);
    show_ecu();
    tick();
    EXPECT_EQ(session().state, State::BL_TARGET_SEARCH) << "its part number is not known yet";
    tell_part_number();
    said();
    tick();
    EXPECT_EQ(said(), "Match found!\r\nECU target found\r\n");
    sent();
    tick(2);
    EXPECT_TRUE(sent().empty());
    tick();
    EXPECT_EQ(sent(), Texts{"18D980F9 01 0D 00 09 00 00 00 00"});
    session().state = State::BL_COMPLETE;
    receive("18D8F980 00 09 00 00 00 00 FF FF");
    EXPECT_TRUE(exits_.empty());
    tick();
    EXPECT_EQ(exits_, std::vector<int>{0});
    EXPECT_EQ(pauses(), std::vector<long>{5000});
    EXPECT_EQ(flintrow_->inventory.hex_updates.size(), 1U);
}

TEST_F(Flintrow_test, tells_of_a_file_that_is_no_image_and_ends_when_asked_to)
{
    start({"-w", "/nowhere/at/all", "-e"});
    EXPECT_EQ(session().state, State::BL_FAILURE);
    tick();
    EXPECT_EQ(said(), "Programming Failure!\r\n\r\n");
    EXPECT_EQ(exits_, std::vector<int>{0});
}

TEST_F(Flintrow_test, does_nothing_before_its_own_claim)
{
    create({"-w", "/nowhere/at/all"});
    tick(3);
    EXPECT_THAT(said(), testing::AllOf(HasSubstr("Error: Invalid update file\r\nInitailize type 0 progress 10\r\n"),
                                       testing::Not(HasSubstr("Failure"))));
}

TEST_F(Flintrow_test, asks_each_new_ecu_who_it_is)
{
    start({"-v"});
    receive(ecu_claim);
    EXPECT_EQ(sent(), (Texts{"18EA80F9 DA FE 00", "18EA80F9 C5 FD 00"}));
    EXPECT_THAT(said(), HasSubstr("Programmable_item_PDU_Observer::address_claim : \n\t[0x80] a0008600 12e00001\r\n"));
    receive(ecu_claim);
    EXPECT_TRUE(sent().empty());
    testing::internal::CaptureStderr();
    EXPECT_EQ(flintrow_->clear_ecu_list(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "re-sending address claim\n");
    drain();
    EXPECT_EQ(sent().at(0), "18EAFFF9 00 EE 00");
    EXPECT_EQ(flintrow_->inventory.find_ecu_by_address(0x80), nullptr);
}

TEST_F(Flintrow_test, hears_gateways_of_its_own_maker)
{
    start();
    receive(ecu_claim);
    receive("18EEFF81 01 00 00 00 00 86 00 A0"); // another manufacturer
    said();
    testing::internal::CaptureStderr();
    for (const auto* frame : {"18FFA180 01", "18FFA180 02 31 2A", "18FFA181 01 31 2A", "18FFA180 01 31 2A 07"}) {
        receive(frame);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "on_gwpgn: [raw .1*.]\non_gwpgn: couldn't parse: [.1*.] (2 entries)\n");
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
