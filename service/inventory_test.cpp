#include "service/inventory.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/version_order.h"

namespace qv::can_bus::flr {
namespace {

using testing::HasSubstr;

constexpr name::Name some_name = 0xA000860012E00001; // manufacturer 151

class Inventory_test : public testing::Test {
protected:
    Inventory_test() { testing::internal::CaptureStdout(); }
    ~Inventory_test() override { std::fputs(testing::internal::GetCapturedStdout().c_str(), stdout); }

    std::string words()
    {
        const auto text = testing::internal::GetCapturedStdout();
        testing::internal::CaptureStdout();
        return text;
    }
    Programmable_item& claim(std::uint32_t address, name::Name name = some_name)
    {
        inventory.ecu_address_claimed(address, name, nullptr);
        return *inventory.find_ecu_by_address(address);
    }
    static std::vector<std::uint8_t> bytes(const std::string& text) { return {text.begin(), text.end()}; }
    void identify(std::uint32_t address, const std::string& text)
    {
        inventory.ecu_identified(address, bytes(text));
    }
    void software(std::uint32_t address, const std::string& fields)
    {
        inventory.software_identified(address, bytes("\1" + fields));
    }
    void offer(const std::string& version, const std::string& part_number)
    {
        auto parser = std::make_shared<HexParser>();
        parser->software_version = version;
        parser->ecu_info = {{"ECU P/N", {part_number}}};
        inventory.hex_updates.push_back(std::move(parser));
    }

    std::uint32_t verbose = 0;
    Inventory inventory{verbose};
};

struct Identification {
    std::string text;
    std::string long_title;
    std::string title;
};

class Title_test : public Inventory_test, public testing::WithParamInterface<Identification> {};

TEST_P(Title_test, follows_from_type_and_serial_number)
{
    auto& entry = claim(0x1C);
    identify(0x1C, GetParam().text);
    EXPECT_EQ(entry.long_title, GetParam().long_title);
    EXPECT_EQ(entry.title, GetParam().title);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Identifications, Title_test, testing::Values(
    Identification{"P*123456*L*-*M*",                "0x1c-123456",          "0x1c-123456"},
    Identification{"P*123456**",                     "0x1c-123456",          "0x1c-123456"},
    Identification{"P*123456789*L*Sprayer*M*",       "Sprayer-123456789",    "Sprayer-12345"},
    Identification{"P*123456789*L*Implement1*M",     "Implement1-123456789", "Implemen-1234"},
    Identification{"P*12345678*L*Boom*M*H*extra*",   "Boom-12345678",        "Boom-12345678"},
    Identification{"P*12 \r\n*L*A very long type*",  "A very long type-12",  "A very l-12"},
    Identification{std::string("P*1*L*T\0X*M*", 12), "T-1",                  "T-1"},
    Identification{"",                               "-",                    "-"}));
// clang-format on

TEST_F(Inventory_test, an_identification_fills_five_fields_and_needs_a_known_sender)
{
    const auto& entry = claim(7);
    EXPECT_THAT(words(), HasSubstr("Adding [7:0xa000860012e00001] 7::\r\n"));
    identify(7, "A1,x*S1**T1*M1*H1*");
    EXPECT_EQ(words(), "ECU id source address match (7)! \r\n\tA1,x*S1**T1*M1*H1*\r\n");
    EXPECT_EQ(entry.part_number + entry.serial_number + entry.location + entry.type + entry.manufacturer,
              "A1,xS1-T1M1");
    inventory.ecu_list_changed = 0;
    identify(8, "B*");
    EXPECT_EQ(words(), "ecu_id_handler: couldn't find pECU for 8\n");
    EXPECT_EQ(inventory.ecu_list_changed, 1U);
}

TEST_F(Inventory_test, an_address_in_use_keeps_its_entry)
{
    claim(7);
    EXPECT_EQ(inventory.ecu_address_claimed(7, some_name + 1, nullptr), -1);
    EXPECT_EQ(inventory.find_ecu_by_address(7)->name, some_name);
    EXPECT_EQ(inventory.ecu_count, 1);
}

struct Software {
    const char* fields;
    int count;
    const char* version; ///< of the application
    bool hidden;
    name::Name name = some_name;
};

class Software_test : public Inventory_test, public testing::WithParamInterface<Software> {};

TEST_P(Software_test, tells_the_version_and_who_is_seen)
{
    const auto& entry = claim(7, GetParam().name);
    software(7, "stale,P,9*APP,P,9*");
    software(7, GetParam().fields);
    EXPECT_EQ(entry.software_id_count, GetParam().count);
    EXPECT_EQ(entry.application_version(), GetParam().version);
    EXPECT_EQ(entry.hidden, GetParam().hidden);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Fields, Software_test, testing::Values(
    Software{"BLD,P1,1.0*APP,P2,1.2.3*",       2,  "1.2.3", false},
    Software{"TV0001,P,2.0,more*BLD*",         2,  "2.0",   false},
    Software{"main,P,3*xBLDx,P,4*",            2,  "3",     false},
    Software{"APP,P,5*",                       1,  "5",     true},
    Software{",BLD,P*lost",                    1,  "",      true},
    Software{"no delimiter",                   0,  "",      true},
    Software{"1*2*3*4*5*6*7*8*9*10*11*12*13*14*15*16*APP,P,17*BLD*", 16, "", true},
    Software{"BLD*", 1, "", true,  0xA000170012E2FFFF}, // hidden, whatever the 17 lowest bits
    Software{"BLD*", 1, "", false, 0xA000170012E0FFFF},
    Software{"BLD*", 1, "", false, 0xA000170112E20000}));
// clang-format on

TEST_F(Inventory_test, only_visible_entries_count_in_the_index)
{
    for (const auto address : {3U, 4U, 5U}) {
        claim(address);
    }
    software(3, "BLD*");
    software(5, "BLD*");
    EXPECT_EQ(inventory.visible_ecu_at(1)->address, 5);
    EXPECT_EQ(inventory.visible_ecu_at(2), nullptr);
    EXPECT_EQ(inventory.visible_ecu_at(-1), nullptr);
    inventory.clear_ecu_list();
    EXPECT_EQ(inventory.visible_ecu_at(0), nullptr);
    EXPECT_EQ(inventory.ecu_count, 0);
}

TEST_F(Inventory_test, messages_without_a_sender_or_without_bytes_change_nothing)
{
    claim(7);
    inventory.software_identified(7, {});
    software(9, "BLD*");
    inventory.gateway_reported(7, {});
    identify(7, std::string(70000, '*'));
    software(7, std::string(70000, ','));
    EXPECT_EQ(inventory.visible_ecu_at(0), nullptr);
}

TEST_F(Inventory_test, the_newest_fitting_update_is_offered)
{
    auto& entry = claim(7);
    identify(7, "A12345-7,x*S*");
    software(7, "BLD,P,1*APP,P,1.0*");
    offer("rel1.2", "12345");
    offer("1.10", "A12345");
    offer("9.9", "other");
    words();
    inventory.refresh_ecu_strings();
    EXPECT_THAT(words(), HasSubstr("Set ECU String, -S : 1.0 : 1.10\r\n"));
    EXPECT_EQ(entry.hex_matches.size(), 2U);
    inventory.hex_updates.clear();
    inventory.refresh_ecu_strings();
    EXPECT_EQ(entry.update_version, "");
    EXPECT_TRUE(entry.hex_matches.empty());
}

TEST_F(Inventory_test, a_gateway_tells_the_host_of_all_ecus_behind_it)
{
    for (const auto address : {3U, 4U, 5U}) {
        claim(address);
        identify(address, address == 5 ? "P*other*" : "P*S*");
    }
    words();
    testing::internal::CaptureStderr();
    inventory.gateway_reported(3, bytes("\1"
                                        "1*a*node-1*b*c*d"));
    inventory.gateway_reported(3, bytes("\1"
                                        "1*a*node-2*b*c"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "on_gwpgn: [raw .1*a*node-1*b*c*d]\n"
                                                      "on_gwpgn: [raw .1*a*node-2*b*c]\n"
                                                      "on_gwpgn: couldn't parse: [.1*a*node-2*b*c] (5 entries)\n");
    EXPECT_THAT(words(), testing::ContainsRegex("gwpgn_handler: .3. : .hn node-1. .ecu 0x.*. .updating 3 4 .\n"));
    EXPECT_EQ(inventory.find_ecu_by_address(4)->host, "node-1");
    EXPECT_EQ(inventory.find_ecu_by_address(5)->host, "");
}

struct Versions {
    const char* older;
    const char* newer;
};

class Version_test : public testing::TestWithParam<Versions> {};

TEST_P(Version_test, are_ordered)
{
    EXPECT_TRUE(newer(GetParam().newer, GetParam().older));
    EXPECT_FALSE(newer(GetParam().older, GetParam().newer));
}

INSTANTIATE_TEST_SUITE_P(Texts, Version_test,
                         testing::Values(Versions{"rel1.2", "1.10"}, Versions{"Missing", "0.1"}, Versions{"", "1"},
                                         Versions{"1.0", "1.0.1"}, Versions{"1.0~rc1", "1.0"},
                                         Versions{"a1.0", "b1.0"}, Versions{"v9", "a10"}));

} // namespace
} // namespace qv::can_bus::flr
