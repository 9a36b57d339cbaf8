// Traffic filter rules.

#include "Exceptions.h"
#include "FilterRule.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;
using testing::PrintToString;

TEST(FilterRule, BeginsEmptyWithAPriorityThatWasNeverSet)
{
    for (const FilterRulePtr& rule : {std::make_shared<FilterRule>(), createFilterRule()}) {
        EXPECT_EQ(FilterRule::FilterNone, rule->getFilterType());
        EXPECT_EQ("", rule->getSrcIpAddress());
        EXPECT_EQ("", rule->getDstIpAddress());
        EXPECT_EQ(FilterRule::IdentityNone, rule->getIdentityType());
        EXPECT_EQ("", rule->getSrcIdentity());
        EXPECT_EQ("", rule->getDstIdentity());
        EXPECT_EQ(-1, rule->getPriority());
    }
}

TEST(FilterRule, TakesATypeAndTwoAddresses)
{
    const FilterRulePtr rule = createFilterRule(FilterRule::FilterType::Discard, "source", "destination");
    EXPECT_EQ(FilterRule::Discard, rule->getFilterType());
    EXPECT_EQ("source", rule->getSrcIpAddress());
    EXPECT_EQ("destination", rule->getDstIpAddress());
    EXPECT_EQ(FilterRule::IdentityNone, rule->getIdentityType());
    EXPECT_EQ(-1, rule->getPriority());
}

TEST(FilterRule, StoresWhatItIsGivenUnchanged)
{
    FilterRule rule;
    const std::string odd(" \t<&>\0\xff", 7);
    rule.setFilterType(static_cast<FilterRule::FilterType>(9));
    rule.setSrcIpAddress(odd + "1");
    rule.setDstIpAddress(odd + "2");
    rule.setIdentityType(static_cast<FilterRule::IdentityType>(-4));
    rule.setSrcIdentity(odd + "3");
    rule.setDstIdentity(odd + "4");
    EXPECT_EQ(9, rule.getFilterType());
    EXPECT_EQ(odd + "1", rule.getSrcIpAddress());
    EXPECT_EQ(odd + "2", rule.getDstIpAddress());
    EXPECT_EQ(-4, rule.getIdentityType());
    EXPECT_EQ(odd + "3", rule.getSrcIdentity());
    EXPECT_EQ(odd + "4", rule.getDstIdentity());
}

TEST(FilterRule, AcceptsPrioritiesFrom0To99)
{
    FilterRule rule;
    for (int priority = 0; priority <= 99; ++priority) {
        rule.setPriority(priority);
        EXPECT_EQ(priority, rule.getPriority());
    }
}

TEST(FilterRule, RefusesAnyOtherPriorityAndKeepsTheOneItHad)
{
    const struct {
        int priority;
        const char* text;
    } rows[] = {{-1, "Priority is invalid: value: -1"},
                {100, "Priority is invalid: value: 100"},
                {2147483647, "Priority is invalid: value: 2147483647"},
                {-2147483647 - 1, "Priority is invalid: value: -2147483648"}};
    FilterRule rule;
    for (const auto& row : rows) {
        EXPECT_EQ(row.text, textThrownBy<std::domain_error>([&] { rule.setPriority(row.priority); }));
        EXPECT_EQ(-1, rule.getPriority());
    }
    rule.setPriority(42);
    for (const auto& row : rows) {
        EXPECT_THROW(rule.setPriority(row.priority), std::domain_error);
        EXPECT_EQ(42, rule.getPriority());
    }
}

TEST(FilterRule, NumbersItsEnumeratorsAsTheWireDoes)
{
    EXPECT_EQ(0, FilterRule::FilterNone);
    EXPECT_EQ(1, FilterRule::Bypass);
    EXPECT_EQ(2, FilterRule::Discard);
    EXPECT_EQ(3, FilterRule::Use);
    EXPECT_EQ(0, FilterRule::IdentityNone);
    EXPECT_EQ(1, FilterRule::IPAddress);
    EXPECT_EQ(2, FilterRule::DN);
    EXPECT_EQ(3, FilterRule::Email);
}

TEST(FilterRule, PrintsOneLineAFieldAndBothTypesAsNumbers)
{
    EXPECT_EQ("Contents of FilterRule:\n"
              "  Filter Type   : 0\n"
              "  Src IP Address: \n"
              "  Dst IP Address: \n"
              "  Identity Type : 0\n"
              "  Src Identity  : \n"
              "  Dst Identity  : \n"
              "  Priority      : -1\n",
              PrintToString(FilterRule()));

    FilterRule rule(FilterRule::Use, "10.0.0.1", "10.0.0.2");
    rule.setIdentityType(FilterRule::DN);
    rule.setSrcIdentity("CN=a");
    rule.setDstIdentity("CN=b");
    rule.setPriority(7);
    EXPECT_EQ("Contents of FilterRule:\n"
              "  Filter Type   : 3\n"
              "  Src IP Address: 10.0.0.1\n"
              "  Dst IP Address: 10.0.0.2\n"
              "  Identity Type : 2\n"
              "  Src Identity  : CN=a\n"
              "  Dst Identity  : CN=b\n"
              "  Priority      : 7\n",
              PrintToString(rule));
}

TEST(FilterRule, HasNoVirtualOperations)
{
    EXPECT_FALSE(std::is_polymorphic<FilterRule>::value);
}

} // namespace
} // namespace tests
