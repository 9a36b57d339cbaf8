// The forms of the texts of a policy, and the wording of messages.

#include "Values.h"
#include "Wording.h"

#include <gtest/gtest.h>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::client; // NOLINT(google-build-using-namespace)

struct Selector {
    const char* text;
    const char* family; // "" for none
};

const Selector SELECTORS[] = {
    {"192.0.2.1", "IPv4"},
    {"0.0.0.0", "IPv4"},
    {"2001:db8::1", "IPv6"},
    {"::", "IPv6"},
    {"::ffff:192.0.2.1", "IPv6"},
    {"192.0.2.0/24", "IPv4"},
    {"192.0.2.0/0", "IPv4"},
    {"192.0.2.0/32", "IPv4"},
    {"2001:db8::/128", "IPv6"},
    {"192.0.2.1-192.0.2.9", "IPv4"},
    {"192.0.2.9-192.0.2.9", "IPv4"},
    {"2001:db8::1-2001:db8::ff", "IPv6"},
    {"", ""},
    {"host", ""},
    {"192.0.2", ""},
    {"192.0.2.256", ""},
    {"192.0.2.1 ", ""},
    {" 192.0.2.1", ""},
    {"010.0.0.1", ""},
    {"2001:db8::1%eth0", ""},
    {"2001:db8:::1", ""},
    {"192.0.2.0/33", ""},
    {"2001:db8::/129", ""},
    {"192.0.2.0/", ""},
    {"192.0.2.0/-1", ""},
    {"192.0.2.0/0x8", ""},
    {"192.0.2.0/9999999999", ""},
    {"192.0.2.0/24/24", ""},
    {"/24", ""},
    {"192.0.2.9-192.0.2.1", ""},
    {"192.0.2.1-2001:db8::1", ""},
    {"192.0.2.1-", ""},
    {"-192.0.2.1", ""},
    {"192.0.2.1-192.0.2.2-192.0.2.3", ""},
};

TEST(Selectors, AreAddressesNetworksAndRanges)
{
    for (const Selector& row : SELECTORS) {
        const auto family = familyOfSelector(row.text);
        EXPECT_EQ(std::string(row.family), family ? nameOf(*family) : "") << row.text;
    }
}

TEST(Addresses, AreNeitherNetworksNorRanges)
{
    EXPECT_TRUE(familyOfAddress("192.0.2.1").has_value());
    EXPECT_FALSE(familyOfAddress("192.0.2.0/24").has_value());
    EXPECT_FALSE(familyOfAddress("192.0.2.1-192.0.2.2").has_value());
}

struct Form {
    const char* text;
    bool fits;
};

TEST(EmailAddresses, HaveOneAtSignBetweenTwoTexts)
{
    const Form forms[] = {{"a@b", true},   {"first.last+tag@mail.example.org", true},
                          {"", false},     {"a", false},
                          {"@b", false},   {"a@", false},
                          {"@", false},    {"a@b@c", false},
                          {"a b@c", false}};
    for (const Form& row : forms)
        EXPECT_EQ(row.fits, isEmail(row.text)) << row.text;
}

TEST(DistinguishedNames, ArePairsOfTypeAndValue)
{
    const Form forms[] = {{"CN=device", true},
                          {"C=CH, O=Example, CN=device 1", true},
                          {"CN = device , O = Example", true},
                          {"2.5.4.3=device", true},
                          {"CN=a\\, b", true},
                          {"CN=\"a, b\", O=x", true},
                          {"CN=a=b", true},
                          {"CN=\u00fc", true},
                          {"", false},
                          {"device", false},
                          {"=device", false},
                          {"CN=", false},
                          {"CN= ", false},
                          {"CN=a,", false},
                          {"CN=a,,O=b", false},
                          {"CN=a, b", false},
                          {"C N=a", false},
                          {"CN=\"a", false},
                          {"CN=a\\", false}};
    for (const Form& row : forms)
        EXPECT_EQ(row.fits, isDistinguishedName(row.text)) << row.text;
}

TEST(NamespaceNames, AreOneTo255HarmlessCharacters)
{
    EXPECT_TRUE(isNamespaceName("blue_1.a-B"));
    EXPECT_TRUE(isNamespaceName("..."));
    EXPECT_TRUE(isNamespaceName(std::string(255, 'n')));
    EXPECT_FALSE(isNamespaceName(std::string(256, 'n')));
    for (const char* const name : {"", ".", "..", "a/b", "a b", "a;b", "\u00fc"})
        EXPECT_FALSE(isNamespaceName(name)) << name;
}

TEST(AbsolutePaths, BeginWithASlash)
{
    EXPECT_TRUE(isAbsolutePath("/a"));
    EXPECT_FALSE(isAbsolutePath("a/b"));
    EXPECT_FALSE(isAbsolutePath(""));
}

TEST(Quoted, LetsNoControlCharacterThrough)
{
    EXPECT_EQ("'a?[2Jb?c?'", quoted("a\x1b[2Jb\nc\x7f"));
}

TEST(Listed, PutsCommasBetweenWords)
{
    EXPECT_EQ("one, two, three", listed({"one", "two", "three"}));
    EXPECT_EQ("", listed({}));
}

TEST(Counted, KnowsOneFromMany)
{
    EXPECT_EQ("1 problem", counted(1, "problem"));
    EXPECT_EQ("2 problems", counted(2, "problem"));
}

struct Slip {
    const char* word;
    const char* hint;
};

TEST(Suggestion, IsTheNearestKnownWordIfItIsNear)
{
    const std::vector<std::string> known = {"source", "source-identity", "priority", "id"};
    const Slip slips[] = {{"sorce", " (did you mean 'source'?)"},
                          {"SOURCE", " (did you mean 'source'?)"},
                          {"source_identity", " (did you mean 'source-identity'?)"},
                          {"sourceidentity", " (did you mean 'source-identity'?)"},
                          {"prority", " (did you mean 'priority'?)"},
                          {"iD", " (did you mean 'id'?)"},
                          {"proirity", " (did you mean 'priority'?)"},
                          {"ID", " (did you mean 'id'?)"},
                          {"Prio", " (did you mean 'priority'?)"},
                          {"so", ""},
                          {"if", ""},
                          {"colour", ""},
                          {"", ""}};
    for (const Slip& slip : slips)
        EXPECT_EQ(slip.hint, suggestion(slip.word, known)) << slip.word;
}

TEST(Suggestion, IsAWordThatWasBegunRatherThanOneWithASlip)
{
    const std::vector<std::string> commands = {"start", "restart", "status"};
    EXPECT_EQ(" (did you mean 'status'?)", suggestion("stat", commands));
    EXPECT_EQ(" (did you mean 'start'?)", suggestion("sta", commands));
    EXPECT_EQ(" (did you mean 'start'?)", suggestion("stort", commands));
}

TEST(Suggestion, IsNotSoughtForAVeryLongWord)
{
    EXPECT_EQ("", suggestion(std::string(100, 'a'), {std::string(100, 'a')}));
}

} // namespace
