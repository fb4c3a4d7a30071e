#include "service/inventory.h"

#include <array>
#include <string>
#include <vector>

#include "service/test_kit.h"
#include "service/version_order.h"

namespace qv::can_bus::flr {
namespace {

using testing::HasSubstr;

constexpr name::Name some_name = 0xA000860012E00001; // manufacturer 151

class Inventory_test : public testing::Test, protected Caught_output {
protected:
    void claim(std::uint32_t address, name::Name name = some_name)
    {
        inventory.ecu_address_claimed(address, name, nullptr);
        claimed_ = address;
    }
    /// What is known of the last that has claimed.
    Inventory::Entry entry() const { return inventory.find_ecu_by_address(claimed_); }
    static std::vector<std::uint8_t> bytes(const std::string& text) { return {text.begin(), text.end()}; }
    void identify(std::uint32_t address, const std::string& text)
    {
        inventory.ecu_identified(address, bytes(text));
    }
    void software(std::uint32_t address, const std::string& fields)
    {
        inventory.software_identified(address, bytes("\1" + fields));
    }

    std::uint32_t verbose = 0;
    Catalogue catalogue{verbose};
    Inventory inventory{verbose, catalogue};

private:
    std::uint32_t claimed_ = 0;
};

TEST_F(Inventory_test, titles_follow_from_type_and_serial_number)
{
    // clang-format off
    const std::array<std::string, 3> rows[] = {
        {"P*123456*L*-*M*",                "0x1c-123456",          "0x1c-123456"},
        {"P*123456**",                     "0x1c-123456",          "0x1c-123456"},
        {"P*123456789*L*Sprayer*M*",       "Sprayer-123456789",    "Sprayer-12345"},
        {"P*123456789*L*Implement1*M",     "Implement1-123456789", "Implemen-1234"},
        {"P*12345678*L*Boom*M*H*extra*",   "Boom-12345678",        "Boom-12345678"},
        {"P*12 \r\n*L*A very long type*",  "A very long type-12",  "A very l-12"},
        {std::string("P*1*L*T\0X*M*", 12), "T-1",                  "T-1"},
    };
    // clang-format on
    for (const auto& [text, long_title, title] : rows) {
        inventory.clear_ecu_list();
        claim(0x1C);
        identify(0x1C, text);
        EXPECT_EQ(entry()->long_title, long_title);
        EXPECT_EQ(entry()->title, title);
    }
}

struct Software {
    std::string fields;
    int count;
    std::string version; ///< of the application
    bool hidden;
    name::Name name = some_name;
};

TEST_F(Inventory_test, software_tells_the_version_and_who_is_seen)
{
    // clang-format off
    const Software rows[] = {
        {"BLD,P1,1.0*APP,P2,1.2.3*",       2,  "1.2.3", false},
        {"TV0001,P,2.0,more*BLD*",         2,  "2.0",   false},
        {"main,P,3*xBLDx,P,4*",            2,  "3",     false},
        {"APP,P,5*",                       1,  "5",     true},
        {",BLD,P*lost",                    1,  "",      true},
        {"no delimiter",                   0,  "",      true},
        {"1*2*3*4*5*6*7*8*9*10*11*12*13*14*15*16*APP,P,17*BLD*", 16, "", true},
        {std::string(70000, '*'),          16, "",      true},
        {"BLD*", 1, "", true,  0xA000170012E2FFFF}, // hidden, whatever the 17 lowest bits
        {"BLD*", 1, "", false, 0xA000170012E0FFFF},
        {"BLD*", 1, "", false, 0xA000170112E20000},
    };
    // clang-format on
    for (const auto& row : rows) {
        inventory.clear_ecu_list();
        claim(7, row.name);
        software(7, "stale,P,9*APP,P,9*");
        software(7, row.fields);
        EXPECT_EQ(entry()->software_id_count, row.count) << row.fields;
        EXPECT_EQ(entry()->application_version(), row.version) << row.fields;
        EXPECT_EQ(inventory.visible_ecu_at(0) == nullptr, row.hidden) << row.fields;
    }
}

TEST_F(Inventory_test, an_entry_keeps_its_address_and_takes_what_its_ecu_tells)
{
    claim(7);
    EXPECT_EQ(said(), "Adding [7:0xa000860012e00001] 7::\r\n");
    EXPECT_EQ(inventory.ecu_address_claimed(7, some_name + 1, nullptr), -1);
    identify(7, "A1,x*S1**T1*M1*H1*");
    identify(8, "B*");
    software(8, "BLD*");
    inventory.software_identified(7, {});
    EXPECT_EQ(said(), "ECU id source address match (7)! \r\n\tA1,x*S1**T1*M1*H1*\r\n"
                      "ecu_id_handler: couldn't find pECU for 8\n");
    EXPECT_EQ(entry()->part_number + entry()->serial_number + entry()->location + entry()->type +
                  entry()->manufacturer,
              "A1,xS1-T1M1");
    EXPECT_EQ(inventory.ecu_count(), 1U);
}

TEST_F(Inventory_test, the_newest_fitting_update_is_offered)
{
    claim(5);
    claim(7);
    identify(7, "A12345-7,x*S*L*T*");
    software(7, "BLD,P,1*APP,P,1.0*");
    for (const auto& [version, part_number] :
         {std::pair{"rel1.2", "12345"}, {"1.10", "A12345"}, {"9.9", "other"}}) {
        const auto image = std::make_shared<HexParser>();
        image->path = version; // a file that is gone at the next scan
        image->software_version = version;
        image->ecu_info = {{"ECU P/N", {part_number}}};
        catalogue.add(image);
    }
    EXPECT_EQ(inventory.visible_ecu_at(0), entry());
    EXPECT_EQ(inventory.visible_ecu_at(1), nullptr);
    inventory.refresh_ecu_strings();
    EXPECT_THAT(said(), HasSubstr("Set ECU String, T-S : 1.0 : 1.10\r\n"));
    EXPECT_EQ(entry()->matches->hex_matches.size(), 2U);
    catalogue.scan_directory("/nowhere");
    inventory.refresh_ecu_strings();
    EXPECT_EQ(entry()->update_version, "");
    EXPECT_TRUE(entry()->matches->empty());
}

TEST_F(Inventory_test, a_gateway_tells_the_host_of_all_ecus_behind_it)
{
    for (const auto address : {3U, 4U, 5U}) {
        claim(address);
        identify(address, address == 5 ? "P*other*" : "P*S*");
    }
    testing::internal::CaptureStderr();
    inventory.gateway_reported(3, bytes("\1*a*node-1*b*c*d"));
    inventory.gateway_reported(3, bytes("\1*a*node-2*b*c"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "on_gwpgn: [raw .*a*node-1*b*c*d]\non_gwpgn: [raw .*a*node-2*b*c]\n"
              "on_gwpgn: couldn't parse: [.*a*node-2*b*c] (5 entries)\n");
    EXPECT_THAT(said(), testing::ContainsRegex("gwpgn_handler: .3. : .hn node-1. .ecu 0x.*. .updating 3 4 .\n"));
    EXPECT_EQ(inventory.find_ecu_by_address(4)->host + inventory.find_ecu_by_address(5)->host, "node-1");
    claim(6), claim(7), identify(6, "-*-*"), identify(7, "-*-*"); // they have told nothing that tells them apart
    testing::internal::CaptureStderr();
    inventory.gateway_reported(6, bytes("\1*a*node-6*b*c*d"));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(inventory.find_ecu_by_address(6)->host + inventory.find_ecu_by_address(7)->host, "node-6");
}

TEST_F(Inventory_test, of_a_text_from_the_bus_8192_characters_count)
{
    claim(7);
    identify(7, std::string(8193, 'P') + "*S*");
    EXPECT_EQ(entry()->part_number, std::string(8192, 'P'));
    EXPECT_EQ(entry()->serial_number, "");
    for (const std::size_t length : {8193U, 8192U}) { // "*" is the last character
        software(7, std::string(length - 4, 'x') + "BLD*");
        EXPECT_EQ(entry()->hidden, length > 8192);
    }
    testing::internal::CaptureStderr();
    for (const std::size_t length : {8193U, 8192U}) { // the fifth "*" is the last character
        inventory.gateway_reported(7, bytes("\1*a*host*b*" + std::string(length - 12, 'x') + "*"));
        EXPECT_EQ(entry()->host, length > 8192 ? "" : "host");
    }
    testing::internal::GetCapturedStderr();
}

TEST(Version_test, the_newer_of_two_comes_first)
{
    const std::pair<const char*, const char*> rows[] = {
        {"rel1.2", "1.10"}, {"Missing", "0.1"}, {"", "1"},     {"1.0", "1.0.1"},
        {"1.0~rc1", "1.0"}, {"a1.0", "b1.0"},   {"v9", "a10"},
    };
    for (const auto& [older, later] : rows) {
        EXPECT_TRUE(newer(later, older)) << later;
        EXPECT_FALSE(newer(older, later)) << older;
    }
}

} // namespace
} // namespace qv::can_bus::flr
