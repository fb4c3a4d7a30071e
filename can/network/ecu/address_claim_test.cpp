#include "can/network/ecu/address_claim.h"

#include "can/network/ecu/ecu_kit.h"

namespace qv::can_bus::ecu::address_claim::handler {
namespace {

using test::claim_text;
using test::higher_name;
using test::lower_name;
using test::own_name;
using test::Texts;

const std::string request_all = "18EAFFFE 00 EE 00";

class Address_claim_test : public test::Ecu_test {
protected:
    /// Others hold all addresses from `first` to `last`.
    void occupy(std::uint32_t first, std::uint32_t last)
    {
        for (std::uint32_t address = first; address <= last; ++address) {
            claim(address, higher_name + 0x100 * address);
        }
    }
};

TEST_F(Address_claim_test, requests_listens_claims_and_waits_before_it_holds_the_address)
{
    start_claim(249);
    EXPECT_EQ(sent(), Texts{});
    pass(1);
    EXPECT_EQ(sent(), Texts{request_all});
    pass(269);
    EXPECT_EQ(sent(), Texts{});
    pass(1);
    EXPECT_EQ(sent(), Texts{"18EEFFF9 07 00 E0 12 00 81 00 A0"});
    pass(269);
    EXPECT_FALSE(ecu_->is_claimed());
    pass(1);
    EXPECT_TRUE(ecu_->is_claimed());
    EXPECT_EQ(told(), Texts{"claimed"});
    EXPECT_EQ(ecu_->source_address(), 249U);
    EXPECT_EQ(ecu_->handler().claimed_time(), 1U); // the tick that ended the wait counts
    EXPECT_EQ(sent(), Texts{});
}

TEST_F(Address_claim_test, carries_no_rest_of_a_late_tick_over)
{
    start_claim(249);
    pass(1000);
    EXPECT_EQ(sent(), Texts{request_all});
    pass(269);
    EXPECT_EQ(sent(), Texts{});
    pass(5000);
    EXPECT_EQ(sent(), Texts{claim_text(249, own_name)});
    pass(269);
    EXPECT_FALSE(ecu_->is_claimed());
}

TEST_F(Address_claim_test, does_nothing_for_an_address_that_is_none)
{
    claim(249, higher_name);
    claim(249, lower_name); // now a node stands at the null address
    for (const std::uint32_t address : {254U, 255U, 256U}) {
        start_claim(address);
        pass(1000);
        receive("18EAFF80 00 EE 00");
        EXPECT_EQ(ecu_->handler().state(), Handler::State::idle);
    }
    hold(130);
    start_claim(254);
    EXPECT_TRUE(ecu_->is_claimed());
    EXPECT_EQ(sent(), Texts{});
    EXPECT_EQ(told(), Texts{});
}

struct Selection {
    const char* what;
    std::uint32_t preferred;
    std::uint32_t taken_first, taken_last; ///< addresses of others; none when the last is below the first
    std::uint32_t result;
};

class Selection_test : public Address_claim_test, public testing::WithParamInterface<Selection> {};

TEST_P(Selection_test, takes_the_preferred_or_the_next_free_address)
{
    const auto& [what, preferred, taken_first, taken_last, result] = GetParam();
    occupy(taken_first, taken_last);
    start_claim(preferred);
    EXPECT_EQ(told(), result == preferred ? Texts{} : Texts{"changed " + std::to_string(result)}) << what;
    pass(1);
    pass(270);
    EXPECT_EQ(sent(), (Texts{request_all, claim_text(result, own_name)})) << what;
}

INSTANTIATE_TEST_SUITE_P(
    Addresses, Selection_test,
    testing::Values(Selection{"free, outside the range", 249, 128, 247, 249}, Selection{"free, low", 0, 1, 5, 0},
                    Selection{"taken, low", 100, 100, 100, 128}, Selection{"taken, high", 249, 249, 249, 128},
                    Selection{"first of the range taken too", 249, 126, 249, 247},
                    Selection{"taken, below the range", 127, 127, 128, 129},
                    Selection{"taken, in the range", 130, 128, 135, 136},
                    Selection{"the search does not go round", 200, 200, 246, 247},
                    Selection{"all taken: contends for the last one", 200, 128, 247, 247},
                    Selection{"the last one itself taken: from the start", 247, 247, 247, 128}));

TEST_F(Address_claim_test, counts_an_address_of_its_own_name_as_free)
{
    claim(249, own_name); // from a former run
    start_claim(249);
    pass(1);
    pass(270);
    EXPECT_EQ(sent(), (Texts{request_all, claim_text(249, own_name)}));
    EXPECT_EQ(told(), Texts{});
}

/// A contender for 249 at a moment of the claim. The times of the claim are 1, 270 and 270 ms.
struct Contention {
    const char* moment;
    std::vector<std::uint32_t> ticks; ///< before the contender's claim
    bool is_lower;                    ///< the contender's NAME, which wins then
    bool repeats;                     ///< the ECU claims again at once
    Texts told;                       ///< when the contender has come
    std::vector<std::uint32_t> quiet; ///< ticks during which it claims nothing further ...
    std::uint32_t claim;              ///< ... before it claims this address with the next ms; 0 is never
};

class Contention_test : public Address_claim_test, public testing::WithParamInterface<Contention> {};

TEST_P(Contention_test, leaves_the_address_to_the_lower_name)
{
    const auto& row = GetParam();
    start_claim(249);
    for (const std::uint32_t tick : row.ticks) {
        pass(tick);
    }
    sent();
    told();
    claim(249, row.is_lower ? lower_name : higher_name);
    EXPECT_EQ(sent(), row.repeats ? Texts{claim_text(249, own_name)} : Texts{}) << row.moment;
    EXPECT_EQ(told(), row.told) << row.moment;
    for (const std::uint32_t tick : row.quiet) {
        pass(tick);
    }
    EXPECT_EQ(sent(), row.quiet.size() == 2 ? Texts{request_all} : Texts{}) << row.moment;
    if (row.claim != 0) {
        EXPECT_EQ(ecu_->source_address(), 254U) << row.moment;
        pass(1);
        EXPECT_EQ(sent(), Texts{claim_text(row.claim, own_name)}) << row.moment;
        pass(270);
    }
    EXPECT_TRUE(ecu_->is_claimed()) << row.moment;
}

const Texts lost{"lost 249", "changed 128"};

INSTANTIATE_TEST_SUITE_P(
    Moments, Contention_test,
    // clang-format off
    testing::Values(
        Contention{"start, lower",               {},            true,  false, {},   {1, 269}, 128},
        Contention{"start, higher",              {},            false, false, {},   {1, 269}, 128},
        Contention{"just requested, lower",      {1},           true,  false, {},   {269}, 128},
        Contention{"just requested, higher",     {1},           false, false, {},   {269}, 128},
        Contention{"about to claim, lower",      {1, 269},      true,  false, {},   {}, 128},
        Contention{"about to claim, higher",     {1, 269},      false, false, {},   {}, 128},
        Contention{"just claiming, lower",       {1, 270},      true,  false, lost, {1, 269}, 128},
        Contention{"just claiming, higher",      {1, 270},      false, true,  {},   {270}, 0},
        Contention{"claiming for long, lower",   {1, 270, 269}, true,  false, lost, {1, 269}, 128},
        Contention{"claiming for long, higher",  {1, 270, 269}, false, true,  {},   {1}, 0},
        Contention{"just claimed, lower",        {1, 270, 270}, true,  false, lost, {1, 269}, 128},
        Contention{"just claimed, higher",       {1, 270, 270}, false, true,  {},   {}, 0},
        Contention{"claimed for long, lower",    {1, 270, 270, 99999}, true,  false, lost, {1, 269}, 128},
        Contention{"claimed for long, higher",   {1, 270, 270, 99999}, false, true,  {},   {600}, 0}));
// clang-format on

TEST_F(Address_claim_test, ignores_claims_that_are_malformed_its_own_or_for_another_address)
{
    hold(249);
    receive("18EEFFF9 07 00 E0 12 00 82 00"); // 7 bytes, of a node not known
    claim(100, lower_name);                   // another address
    receive("18EEFF64 00 00 00 00 00 00 00"); // 7 bytes, of a known node
    receive("18EEFF64 07 00 E0 12 00 81 00 A0 00");
    receive(claim_text(249, own_name));
    EXPECT_EQ(sent(), Texts{});
    EXPECT_EQ(told(), Texts{});
    EXPECT_TRUE(ecu_->is_claimed());
}

TEST_F(Address_claim_test, starts_all_over_when_told_to_claim_again)
{
    hold(249);
    pass(1000);
    start_claim(130);
    EXPECT_EQ(ecu_->source_address(), 254U);
    EXPECT_EQ(ecu_->handler().claimed_time(), 0U);
    pass(1);
    pass(270);
    pass(270);
    EXPECT_EQ(sent(), (Texts{request_all, claim_text(130, own_name)}));
    EXPECT_EQ(ecu_->source_address(), 130U);
}

TEST_F(Address_claim_test, answers_a_request_for_its_claim_to_all_but_only_once_it_has_claimed)
{
    claim(0x80, higher_name);
    start_claim(249);
    receive("18EAFF80 00 EE 00");
    pass(1);
    receive("18EAFF80 00 EE 00");
    EXPECT_EQ(sent(), Texts{request_all});
    pass(270);
    receive("18EAFF80 00 EE 00");
    receive("18EAF980 00 EE 00"); // addressed to it
    receive("18EAF880 00 EE 00"); // addressed to another
    receive("18EAFF80 00 EE");
    receive("18EAFF80 00 EE 00 00");
    const std::string claim = claim_text(249, own_name);
    EXPECT_EQ(sent(), (Texts{claim, claim, claim}));
}

TEST_F(Address_claim_test, tells_of_another_control_function_with_its_function_and_instance)
{
    struct Row {
        name::Fields own, other;
        bool conflict;
    };
    // identity, manufacturer, ECU instance, function instance, function, class, its instance, group
    const Row rows[] = {
        {{1, 2, 0, 1, 129, 3, 0, 2, 1}, {9, 2, 1, 1, 129, 3, 0, 2, 1}, true}, // the ECU instance does not count
        {{1, 2, 0, 1, 129, 3, 0, 2, 1}, {9, 2, 0, 2, 129, 3, 0, 2, 1}, false},
        {{1, 2, 0, 1, 129, 3, 0, 2, 1}, {9, 2, 0, 1, 130, 3, 0, 2, 1}, false},
        {{1, 2, 0, 1, 128, 3, 0, 2, 1}, {9, 2, 0, 1, 128, 4, 0, 2, 1}, false},
        {{1, 2, 0, 1, 128, 3, 0, 2, 1}, {9, 2, 0, 1, 128, 3, 0, 1, 1}, false},
        {{1, 2, 0, 1, 127, 3, 0, 2, 1}, {9, 2, 0, 1, 127, 4, 0, 1, 1}, true}, // a common function
    };
    for (const Row& row : rows) {
        ears_.clear();
        ecu_.reset();
        ecu_ = ECU::create(name::compose(row.own), {}, {nodes_, bus_dispatcher_->id(), false, nullptr});
        Texts conflicts;
        listen(ecu_->dispatcher(), {message::Function_instance_conflict::id}, [&](auto& message) {
            const auto& conflict = dynamic_cast<message::Function_instance_conflict&>(message);
            conflicts.push_back(conflict.on_bus ? "on the bus" : "silent");
        });
        claim(100, name::compose(row.other));
        start_claim(249);
        pass(1);
        pass(270);
        claim(100, name::compose(row.other));
        EXPECT_EQ(conflicts, row.conflict ? (Texts{"silent", "on the bus"}) : Texts{}) << row.other.function;
    }
}

TEST_F(Address_claim_test, says_that_it_cannot_claim_when_it_loses_an_address_and_wants_none)
{
    hold(249);
    start_claim(255);
    claim(249, lower_name);
    EXPECT_EQ(sent(), Texts{claim_text(254, own_name)});
    EXPECT_EQ(told(), Texts{"lost 249"});
    pass(1000);
    EXPECT_EQ(sent(), Texts{});
}

TEST_F(Address_claim_test, counts_the_time_for_which_it_holds_the_address_up_to_a_cap)
{
    hold(249);
    pass(0xFFFFFF00 - ecu_->handler().claimed_time());
    EXPECT_EQ(ecu_->handler().claimed_time(), 0xFFFFFF00U);
    for (const std::uint32_t tick : {1U, 0xFFFFFFFFU}) {
        pass(tick);
        EXPECT_EQ(ecu_->handler().claimed_time(), 0xFFFF0000U);
    }
}

} // namespace
} // namespace qv::can_bus::ecu::address_claim::handler
