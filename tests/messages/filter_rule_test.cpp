// The filter rule message.

#include "MessageTest.h"

namespace tests {
namespace {

class FilterRuleMessage : public MessageTest {
protected:
    static FilterRulePtr ruleOf(FilterRule::FilterType type, const std::string& source, int priority = 1)
    {
        FilterRulePtr rule = createFilterRule(type, source, "b");
        rule->setPriority(priority);
        return rule;
    }

    static std::string sourcesOf(const FilterSet& rules)
    {
        std::string sources;
        for (const FilterRulePtr& rule : rules)
            sources += rule->getSrcIpAddress() + " ";
        return sources;
    }
};

TEST_F(FilterRuleMessage, IsWrittenMemberByMember)
{
    const FilterRulePtr rule = createFilterRule(FilterRule::Use, "10.0.0.1", "10.0.0.2");
    rule->setIdentityType(FilterRule::Email);
    rule->setSrcIdentity("a@example.com");
    rule->setDstIdentity("b@example.com");
    rule->setPriority(42);
    run(FilterRuleSerializer({rule}, {}));
    EXPECT_EQ("{\n"
              "table-id 3 2\n"
              "filter-id 3 0\n"
              "filter-type 3 3\n"
              "src-addr 1 10.0.0.1\n"
              "dst-addr 1 10.0.0.2\n"
              "identity-type 3 3\n"
              "src-identity 1 a@example.com\n"
              "dst-identity 1 b@example.com\n"
              "priority 3 42\n"
              "}\n",
              written());
}

TEST_F(FilterRuleMessage, NumbersBothListsInOneRow)
{
    run(FilterRuleSerializer({ruleOf(FilterRule::Use, "A"), ruleOf(FilterRule::Use, "B")},
                             {ruleOf(FilterRule::Discard, "C")}));
    EXPECT_EQ(
        "{\ntable-id 3 2\nfilter-id 3 0\nfilter-type 3 3\nsrc-addr 1 A\ndst-addr 1 b\nidentity-type 3 0\n"
        "src-identity 1 \ndst-identity 1 \npriority 3 1\n}\n"
        "{\ntable-id 3 2\nfilter-id 3 1\nfilter-type 3 3\nsrc-addr 1 B\ndst-addr 1 b\nidentity-type 3 0\n"
        "src-identity 1 \ndst-identity 1 \npriority 3 1\n}\n"
        "{\ntable-id 3 2\nfilter-id 3 2\nfilter-type 3 2\nsrc-addr 1 C\ndst-addr 1 b\nidentity-type 3 0\n"
        "src-identity 1 \ndst-identity 1 \npriority 3 1\n}\n",
        written());
}

TEST_F(FilterRuleMessage, WritesNothingForEmptyLists)
{
    run(FilterRuleSerializer({}, {}));
    EXPECT_EQ("", written());
}

TEST_F(FilterRuleMessage, AppendsAStructureBeforeFillingIt)
{
    memory_platform::state().hooks.addMember = throwingAt(9 + 3, std::runtime_error("full"));
    EXPECT_EQ("full", textThrownBy<std::runtime_error>([this] {
                  run(FilterRuleSerializer({ruleOf(FilterRule::Use, "A"), ruleOf(FilterRule::Use, "B")}, {}));
              }));
    EXPECT_EQ(
        "{\ntable-id 3 2\nfilter-id 3 0\nfilter-type 3 3\nsrc-addr 1 A\ndst-addr 1 b\nidentity-type 3 0\n"
        "src-identity 1 \ndst-identity 1 \npriority 3 1\n}\n"
        "{\ntable-id 3 2\nfilter-id 3 1\n}\n",
        written());
}

TEST_F(FilterRuleMessage, ReportsAStructureThatCannotBeAppendedAsOneThatCannotBeAllocated)
{
    memory_platform::state().hooks.addElement = throwingAt(1, std::length_error("full"));
    EXPECT_EQ("Failed to allocate CParser", textThrownBy<std::runtime_error>([this] {
                  run(FilterRuleSerializer({ruleOf(FilterRule::Use, "A")}, {}));
              }));
    memory_platform::state().hooks.addElement = throwingAt(1, 5);
    EXPECT_EQ("Failed to allocate CParser", textThrownBy<std::runtime_error>([this] {
                  run(FilterRuleSerializer({ruleOf(FilterRule::Use, "A")}, {}));
              }));
}

TEST_F(FilterRuleMessage, SharesTheRulesAndCopiesTheLists)
{
    FilterSet used = {ruleOf(FilterRule::Use, "before")};
    FilterRuleSerializer serializer(used, {});
    used.front()->setSrcIpAddress("after");
    used.clear();
    run(serializer);
    EXPECT_NE(std::string::npos, written().find("src-addr 1 after\n"));
}

TEST_F(FilterRuleMessage, IsReadBackAsItWas)
{
    const FilterRulePtr rule = createFilterRule(FilterRule::Use, "2001:db8::1", "2001:db8::2");
    rule->setIdentityType(FilterRule::DN);
    rule->setSrcIdentity("CN=a");
    rule->setDstIdentity("CN=b");
    rule->setPriority(0);
    run(FilterRuleSerializer({rule}, {}));
    FilterRuleDeserializer rules;
    run(rules);
    ASSERT_EQ(1U, rules.getUsedFilterRules().size());
    EXPECT_TRUE(rules.getDefaultFilterRules().empty());
    const FilterRule& read = *rules.getUsedFilterRules().front();
    EXPECT_EQ(FilterRule::Use, read.getFilterType());
    EXPECT_EQ("2001:db8::1", read.getSrcIpAddress());
    EXPECT_EQ("2001:db8::2", read.getDstIpAddress());
    EXPECT_EQ(FilterRule::DN, read.getIdentityType());
    EXPECT_EQ("CN=a", read.getSrcIdentity());
    EXPECT_EQ("CN=b", read.getDstIdentity());
    EXPECT_EQ(0, read.getPriority());
}

TEST_F(FilterRuleMessage, SplitsTheListsByTypeWhateverListARuleWasSentIn)
{
    run(FilterRuleSerializer({ruleOf(FilterRule::Use, "use"), ruleOf(FilterRule::Bypass, "bypass")},
                             {ruleOf(FilterRule::Use, "use-by-default"),
                              ruleOf(FilterRule::Discard, "discard"), ruleOf(FilterRule::FilterNone, "none"),
                              ruleOf(static_cast<FilterRule::FilterType>(9), "nine")}));
    FilterRuleDeserializer rules;
    run(rules);
    EXPECT_EQ("use use-by-default ", sourcesOf(rules.getUsedFilterRules()));
    EXPECT_EQ("bypass discard none nine ", sourcesOf(rules.getDefaultFilterRules()));
    EXPECT_EQ(9, rules.getDefaultFilterRules().back()->getFilterType());
}

TEST_F(FilterRuleMessage, GoesOnWithTheRuleBeforeInAStructureWithoutAFilterType)
{
    const auto rules = read<FilterRuleDeserializer>(
        "{\ntable-id 3 2\nfilter-type 3 3\nsrc-addr 1 first\n}\n"
        "{\ntable-id 3 3\nsrc-addr 1 certificate\n}\n"
        "{\ntable-id 3 2\nsrc-addr 1 second\nfilter-type 3 1\ndst-addr 1 d\n}\n");
    EXPECT_EQ("second ", sourcesOf(rules.getUsedFilterRules()));
    EXPECT_EQ(" ", sourcesOf(rules.getDefaultFilterRules()));
    EXPECT_EQ("d", rules.getDefaultFilterRules().front()->getDstIpAddress());
}

TEST_F(FilterRuleMessage, IgnoresTheRunningNumber)
{
    const auto rules =
        read<FilterRuleDeserializer>("{\ntable-id 3 2\nfilter-id 3 x\nfilter-type 3 3\nsrc-addr 1 A\n}\n"
                                     "{\ntable-id 3 2\nfilter-id 3 7\nfilter-type 3 3\nsrc-addr 1 B\n}\n");
    EXPECT_EQ("A B ", sourcesOf(rules.getUsedFilterRules()));
}

TEST_F(FilterRuleMessage, CarriesAPriorityThatWasNeverSetAndRefusesItOnReading)
{
    run(FilterRuleSerializer({createFilterRule(FilterRule::Use, "a", "b")}, {}));
    EXPECT_NE(std::string::npos, written().find("priority 3 -1\n"));
    FilterRuleDeserializer rules;
    EXPECT_EQ("Priority is invalid: value: -1", textThrownBy<std::domain_error>([&] { run(rules); }));
    EXPECT_EQ("a ", sourcesOf(rules.getUsedFilterRules()));
}

TEST_F(FilterRuleMessage, RefusesNumbersThatAreNone)
{
    for (const char* const member : {"filter-type", "identity-type", "priority"}) {
        array_ = std::make_unique<CArrayParser>();
        EXPECT_EQ("stoi", textThrownBy<std::invalid_argument>([&] {
                      read<FilterRuleDeserializer>(std::string("{\ntable-id 3 2\nfilter-type 3 3\n") +
                                                   member + " 3 abc\n}\n");
                  }))
            << member;
    }
}

TEST_F(FilterRuleMessage, EndsTheStructureQuietlyAtANumberThatDoesNotFitAnInt)
{
    const auto rules = read<FilterRuleDeserializer>("{\ntable-id 3 2\nfilter-type 3 3\nsrc-addr 1 "
                                                    "A\nidentity-type 3 99999999999\nsrc-identity 1 lost\n}\n"
                                                    "{\ntable-id 3 2\nfilter-type 3 3\nsrc-addr 1 B\n}\n");
    EXPECT_EQ("A B ", sourcesOf(rules.getUsedFilterRules()));
    EXPECT_EQ("", rules.getUsedFilterRules().front()->getSrcIdentity());
}

TEST_F(FilterRuleMessage, NamesAMemberThatComesBeforeAnyRule)
{
    const struct {
        const char* member;
        const char* text;
    } rows[] = {{"src-addr 1 a", "Nothing to add the member to: src-addr"},
                {"dst-addr 1 a", "Nothing to add the member to: dst-addr"},
                {"identity-type 3 0", "Nothing to add the member to: identity-type"},
                {"src-identity 1 a", "Nothing to add the member to: src-identity"},
                {"dst-identity 1 a", "Nothing to add the member to: dst-identity"},
                {"priority 3 1", "Nothing to add the member to: priority"}};
    for (const auto& row : rows) {
        array_ = std::make_unique<CArrayParser>();
        EXPECT_EQ(row.text, textThrownBy<std::runtime_error>([&] {
                      read<FilterRuleDeserializer>(std::string("{\ntable-id 3 2\n") + row.member + "\n}\n");
                  }))
            << row.member;
    }
}

} // namespace
} // namespace tests
