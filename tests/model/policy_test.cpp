// The policy store.

#include "Exceptions.h"
#include "IPsecPolicy.h"
#include "PayloadBuilder.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;

FilterRulePtr use(const std::string& source, const std::string& destination)
{
    return createFilterRule(FilterRule::Use, source, destination);
}

TEST(PolicyStore, IsOneForTheProcessWhoeverAsksFirst)
{
    std::vector<IPsecPolicy*> seen(8);
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    for (IPsecPolicy*& policy : seen)
        threads.emplace_back([&policy] { policy = &getIPsecPolicy(); });
    for (std::thread& thread : threads)
        thread.join();
    for (const IPsecPolicy* const policy : seen)
        EXPECT_EQ(&getIPsecPolicy(), policy);
}

TEST(PolicyStore, BeginsEmpty)
{
    IPsecPolicy policy;
    EXPECT_EQ(nullptr, policy.getPhase1SA());
    EXPECT_EQ(nullptr, policy.getPhase2SA());
    EXPECT_TRUE(policy.getFilterRules().empty());
    EXPECT_EQ("", policy.getNsName());
}

TEST(PolicyStore, SharesTheAssociationsItIsGiven)
{
    IPsecPolicy policy;
    const PayloadPtr phase1 = createSecurityAssociation();
    const PayloadPtr phase2 = createKeyLength(1); // the kind is not checked
    policy.setPhase1SA(phase1);
    policy.setPhase2SA(phase2);
    EXPECT_EQ(phase1, policy.getPhase1SA());
    EXPECT_EQ(phase2, policy.getPhase2SA());
    EXPECT_EQ(2, phase1.use_count());

    policy.setPhase1SA(createSecurityAssociation());
    EXPECT_EQ(1, phase1.use_count());
    policy.setPhase1SA(nullptr);
    EXPECT_EQ(nullptr, policy.getPhase1SA());
}

TEST(PolicyStore, LetsGoOfAnAssociationThatIsUnset)
{
    IPsecPolicy policy;
    const PayloadPtr phase1 = createSecurityAssociation();
    const PayloadPtr phase2 = createSecurityAssociation();
    policy.setPhase1SA(phase1);
    policy.setPhase2SA(phase2);
    policy.unsetPhase1SA();
    EXPECT_EQ(nullptr, policy.getPhase1SA());
    EXPECT_EQ(1, phase1.use_count());
    EXPECT_EQ(phase2, policy.getPhase2SA());
    policy.unsetPhase2SA();
    EXPECT_EQ(nullptr, policy.getPhase2SA());
    EXPECT_EQ("SecurityAssociation: \n", phase1->to_string());
}

TEST(PolicyStore, KeepsUsedRulesInInsertionOrderAndShared)
{
    IPsecPolicy policy;
    const FilterSet rules = {use("a", "b"), use("a", "c"), use("b", "a")};
    for (const FilterRulePtr& rule : rules)
        policy.addFilter(rule);
    EXPECT_EQ(rules, policy.getFilterRules());
    policy.getFilterRules().clear();
    EXPECT_EQ(3U, policy.getFilterRules().size());
}

TEST(PolicyStore, RefusesRulesOfOtherTypes)
{
    IPsecPolicy policy;
    for (const auto type : {FilterRule::FilterNone, FilterRule::Bypass, FilterRule::Discard,
                            static_cast<FilterRule::FilterType>(4)}) {
        const FilterRulePtr rule = createFilterRule(type, "a", "b");
        EXPECT_EQ("Filter type is not 'Use'",
                  textThrownBy<std::runtime_error>([&] { policy.addFilter(rule); }));
    }
    EXPECT_TRUE(policy.getFilterRules().empty());
}

TEST(PolicyStore, RefusesASecondRuleWithTheSameAddresses)
{
    IPsecPolicy policy;
    const FilterRulePtr rule = use("10.0.0.1", "10.0.0.2");
    const FilterRulePtr twin = use("10.0.0.1", "10.0.0.2");
    twin->setPriority(5);
    twin->setIdentityType(FilterRule::Email);
    twin->setSrcIdentity("x");
    policy.addFilter(use("10.0.0.1", "10.0.0.3"));
    policy.addFilter(rule);
    for (const FilterRulePtr& again : {twin, rule})
        EXPECT_EQ("Detect duplicates of key: src addr: 10.0.0.1 :dst addr: 10.0.0.2",
                  textThrownBy<std::runtime_error>([&] { policy.addFilter(again); }));
    EXPECT_EQ(2U, policy.getFilterRules().size());
    EXPECT_EQ(rule, policy.getFilterRules().back());
}

TEST(PolicyStore, ComparesAddressesAsText)
{
    IPsecPolicy policy;
    policy.addFilter(use("10.0.0.1", "b"));
    policy.addFilter(use("010.0.0.1", "b"));
    policy.addFilter(use("b", "10.0.0.1"));
    policy.addFilter(use("10.0.0.1", "B"));
    EXPECT_EQ(4U, policy.getFilterRules().size());
}

TEST(PolicyStore, ComparesWithTheRulesAsTheyAreNow)
{
    IPsecPolicy policy;
    const FilterRulePtr changed = use("a", "b");
    policy.addFilter(changed);
    changed->setSrcIpAddress("c");
    policy.addFilter(use("a", "b"));
    EXPECT_EQ("Detect duplicates of key: src addr: c :dst addr: b",
              textThrownBy<std::runtime_error>([&] { policy.addFilter(use("c", "b")); }));
    changed->setFilterType(FilterRule::Bypass);
    policy.addFilter(use("c", "b"));
    EXPECT_EQ(3U, policy.getFilterRules().size());
}

TEST(PolicyStore, DeletesTheVeryRuleAndNoOther)
{
    IPsecPolicy policy;
    const FilterRulePtr rule = use("a", "b");
    policy.addFilter(rule);
    policy.deleteFilter(use("a", "b"));
    policy.deleteFilter(nullptr);
    EXPECT_EQ((FilterSet{rule}), policy.getFilterRules());
    policy.deleteFilter(rule);
    EXPECT_TRUE(policy.getFilterRules().empty());
    policy.deleteFilter(rule);
    policy.addFilter(use("a", "b"));
    EXPECT_EQ(1U, policy.getFilterRules().size());
}

TEST(PolicyStore, KeepsTheNameOfTheNetworkNamespaceAndHandsItOutByReference)
{
    IPsecPolicy policy;
    std::string name = "red";
    policy.setNsName(name);
    name = "changed later";
    EXPECT_EQ("red", policy.getNsName());
    policy.getNsName() = "blue";
    EXPECT_EQ("blue", policy.getNsName());
}

TEST(PolicyStore, ReadsTheSameThroughAConstReference)
{
    IPsecPolicy policy;
    policy.setPhase1SA(createSecurityAssociation());
    policy.setPhase2SA(createSecurityAssociation());
    policy.addFilter(use("a", "b"));
    policy.getNsName() = "red";
    const IPsecPolicy& view = policy;
    EXPECT_EQ(policy.getPhase1SA(), view.getPhase1SA());
    EXPECT_EQ(policy.getPhase2SA(), view.getPhase2SA());
    EXPECT_EQ(policy.getFilterRules(), view.getFilterRules());
    EXPECT_EQ("red", view.getNsName());
}

TEST(FilterFinder, AcceptsAUsedRuleWithExactlyTheseAddresses)
{
    FilterFinder finder("a", "b");
    EXPECT_TRUE(finder(use("a", "b")));
    EXPECT_FALSE(finder(use("a", "c")));
    EXPECT_FALSE(finder(use("c", "b")));
    EXPECT_FALSE(finder(use("b", "a")));
    EXPECT_FALSE(finder(createFilterRule(FilterRule::Bypass, "a", "b")));
    EXPECT_FALSE(finder(createFilterRule()));
}

TEST(FilterFinder, CopiesTheAddressesAndCanBeCopied)
{
    std::string source = "a";
    FilterFinder finder(source, "b");
    source = "changed later";
    FilterFinder copy(finder);
    EXPECT_TRUE(copy(use("a", "b")));
    FilterFinder assigned("x", "y");
    assigned = copy;
    EXPECT_TRUE(assigned(use("a", "b")));
}

} // namespace
} // namespace tests
