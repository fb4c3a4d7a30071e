#include "can/network/ecu/address_claim.h"

#include <tuple>

#include "can/network/ecu/ecu_kit.h"

namespace qv::can_bus::ecu::address_claim::handler {
namespace {

using test::claim_text;
using test::higher_name;
using test::lower_name;
using test::own_name;
using test::Texts;

const std::string request_all = "18EAFFFE 00 EE 00";

class Address_claim_test : public test::Ecu_test {};

TEST_F(Address_claim_test, requests_listens_claims_and_waits_before_it_holds_the_address)
{
    start_claim(249);
    EXPECT_EQ(sent(), Texts{});
    after(1, {request_all});
    after(269, {});
    after(1, {"18EEFFF9 07 00 E0 12 00 81 00 A0"});
    after(269, {});
    EXPECT_FALSE(ecu_->is_claimed());
    after(1, {});
    EXPECT_TRUE(ecu_->is_claimed());
    EXPECT_EQ(told(), Texts{"claimed"});
    EXPECT_EQ(ecu_->source_address(), 249U);
    EXPECT_EQ(ecu_->handler().claimed_time(), 1U); // the tick that ended the wait counts
}

TEST_F(Address_claim_test, takes_a_late_tick_for_one_step_and_an_address_of_its_own_name_for_free)
{
    claim(249, own_name); // from a former run: counts as free
    start_claim(249);
    after(1000, {request_all});
    after(269, {});
    after(5000, {claim_text(249, own_name)});
    after(269, {});
    EXPECT_EQ(told(), Texts{});
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
        after(1, {});
        EXPECT_EQ(ecu_->handler().state(), Handler::State::idle);
    }
    hold(130);
    start_claim(254);
    after(0, {});
    EXPECT_TRUE(ecu_->is_claimed());
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
    for (std::uint32_t address = taken_first; address <= taken_last; ++address) {
        claim(address, higher_name + 0x100 * address);
    }
    start_claim(preferred);
    EXPECT_EQ(told(), result == preferred ? Texts{} : Texts{"changed " + std::to_string(result)}) << what;
    after(1, {request_all});
    after(270, {claim_text(result, own_name)});
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

/// A moment at which another claims 249. The times of the claim are 1, 270 and 270 ms.
struct Moment {
    const char* what;
    std::vector<std::uint32_t> ticks; ///< before the contender's claim
    bool on_bus;                      ///< the ECU uses 249 then, and answers
    std::vector<std::uint32_t> rest;  ///< ticks until the next ms brings its claim, or it holds the address
};

/// A moment, and whether the contender has the lower NAME.
using Contention = std::tuple<Moment, bool>;

class Contention_test : public Address_claim_test, public testing::WithParamInterface<Contention> {};

TEST_P(Contention_test, leaves_the_address_to_the_lower_name)
{
    const auto& [moment, is_lower] = GetParam();
    const bool repeats = moment.on_bus && !is_lower;
    const bool loses = moment.on_bus && is_lower;
    const auto rest = loses ? std::vector<std::uint32_t>{1, 269} : moment.rest;
    start_claim(249);
    pass_each(moment.ticks);
    sent();
    told();
    claim(249, is_lower ? lower_name : higher_name);
    EXPECT_EQ(sent(), repeats ? Texts{claim_text(249, own_name)} : Texts{}) << moment.what;
    EXPECT_EQ(told(), loses ? (Texts{"lost 249", "changed 128"}) : Texts{}) << moment.what;
    pass_each(rest);
    EXPECT_EQ(sent(), rest.size() == 2 ? Texts{request_all} : Texts{}) << moment.what;
    if (!repeats) {
        EXPECT_EQ(ecu_->source_address(), 254U) << moment.what;
        after(1, {claim_text(128, own_name)});
        pass(270);
    }
    EXPECT_TRUE(ecu_->is_claimed()) << moment.what;
}

INSTANTIATE_TEST_SUITE_P(
    Moments, Contention_test,
    // clang-format off
    testing::Combine(testing::Values(
        Moment{"start",             {},                   false, {1, 269}},
        Moment{"just requested",    {1},                  false, {269}},
        Moment{"about to claim",    {1, 269},             false, {}},
        Moment{"just claiming",     {1, 270},             true,  {270}},
        Moment{"claiming for long", {1, 270, 269},        true,  {1}},
        Moment{"just claimed",      {1, 270, 270},        true,  {}},
        Moment{"claimed for long",  {1, 270, 270, 99999}, true,  {600}}), testing::Bool()));
// clang-format on

TEST_F(Address_claim_test, contends_with_the_member_of_a_working_set_that_claims_and_not_with_its_master)
{
    claim(10, higher_name);
    claim(11, lower_name);
    nodes_.find_by_name(lower_name)->pdu_source = nodes_.find_by_name(higher_name);
    hold(249);
    claim(249, lower_name);
    EXPECT_EQ(told(), (Texts{"lost 249", "changed 128"}));
}

TEST_F(Address_claim_test, claims_back_its_address_though_the_contender_has_left_it_already)
{
    hold(249);
    queue(claim_text(249, higher_name));
    receive(claim_text(250, higher_name));
    EXPECT_EQ(sent(), Texts{claim_text(249, own_name)});
}

TEST_F(Address_claim_test, ignores_claims_that_are_malformed_its_own_or_for_another_address)
{
    hold(249);
    receive("18EEFFF9 07 00 E0 12 00 82 00"); // 7 bytes, of a node not known
    claim(100, lower_name);                   // another address
    receive("18EEFF64 00 00 00 00 00 00 00"); // 7 bytes, of a known node
    receive("18EEFF64 07 00 E0 12 00 81 00 A0 00");
    receive("18EEF9" + claim_text(249, lower_name).substr(6)); // not to all
    receive(claim_text(249, own_name));
    EXPECT_EQ(sent(), Texts{});
    EXPECT_EQ(told(), Texts{});
    EXPECT_TRUE(ecu_->is_claimed());
}

TEST_F(Address_claim_test, answers_a_request_for_its_claim_to_all_but_only_once_it_has_claimed)
{
    claim(0x80, higher_name);
    start_claim(249);
    receive("18EAFF80 00 EE 00");
    pass(1);
    receive("18EAFF80 00 EE 00");
    after(0, {request_all});
    pass(270);
    // to all, to it, to another, too short, too long
    receive_each(
        {"18EAFF80 00 EE 00", "18EAF980 00 EE 00", "18EAF880 00 EE 00", "18EAFF80 00 EE", "18EAFF80 00 EE 00 00"});
    const std::string claim = claim_text(249, own_name);
    EXPECT_EQ(sent(), (Texts{claim, claim, claim}));
}

TEST_F(Address_claim_test, tells_of_another_control_function_with_its_function_and_instance)
{
    // identity, manufacturer, ECU instance, function instance, function, class, its instance, group
    const std::vector<std::tuple<name::Fields, name::Fields, bool>> rows{
        {{1, 2, 0, 1, 129, 3, 0, 2, 1}, {9, 2, 1, 1, 129, 3, 0, 2, 1}, true}, // the ECU instance does not count
        {{1, 2, 0, 1, 129, 3, 0, 2, 1}, {9, 2, 0, 2, 129, 3, 0, 2, 1}, false},
        {{1, 2, 0, 1, 129, 3, 0, 2, 1}, {9, 2, 0, 1, 130, 3, 0, 2, 1}, false},
        {{1, 2, 0, 1, 128, 3, 0, 2, 1}, {9, 2, 0, 1, 128, 4, 0, 2, 1}, false},
        {{1, 2, 0, 1, 128, 3, 0, 2, 1}, {9, 2, 0, 1, 128, 3, 0, 1, 1}, false},
        {{1, 2, 0, 1, 127, 3, 0, 2, 1}, {9, 2, 0, 1, 127, 4, 0, 1, 1}, true}, // a common function
    };
    hears_itself_ = false;
    for (const auto& [own, other, conflict] : rows) {
        create_ecu(name::compose(own));
        claim(100, name::compose(other));
        start_claim(249);
        pass_each({1, 270});
        claim(100, name::compose(other));
        EXPECT_EQ(told(), conflict ? (Texts{"conflict 0", "conflict 1"}) : Texts{}) << other.function;
    }
}

TEST_F(Address_claim_test, says_that_it_cannot_claim_when_it_loses_an_address_and_wants_none)
{
    hold(249);
    start_claim(255);
    claim(249, lower_name);
    after(0, {claim_text(254, own_name)});
    EXPECT_EQ(told(), Texts{"lost 249"});
    after(1000, {});
}

TEST_F(Address_claim_test,
       counts_the_time_for_which_it_holds_the_address_up_to_a_cap_and_starts_all_over_when_told_to)
{
    hold(249);
    pass(0xFFFFFF00 - ecu_->handler().claimed_time());
    EXPECT_EQ(ecu_->handler().claimed_time(), 0xFFFFFF00U);
    for (const std::uint32_t tick : {1U, 0xFFFFFFFFU}) {
        pass(tick);
        EXPECT_EQ(ecu_->handler().claimed_time(), 0xFFFF0000U);
    }
    start_claim(130);
    EXPECT_EQ(ecu_->source_address(), 254U);
    EXPECT_EQ(ecu_->handler().claimed_time(), 0U);
    pass_each({1, 270, 270});
    EXPECT_EQ(sent(), (Texts{request_all, claim_text(130, own_name)}));
    EXPECT_EQ(ecu_->source_address(), 130U);
}

} // namespace
} // namespace qv::can_bus::ecu::address_claim::handler
